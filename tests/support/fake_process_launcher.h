// A process launcher that starts nothing: it records the argument vectors it is given and
// answers Run with `outcome`. With `spawnFails` set to an error number, Start and Run
// raise that number as the real launcher does when a program can't be started (53 for
// a missing program, 70 for one that isn't executable). Signal records each signal sent;
// a pid in `endedPids` is gone, one in `deniedPids` may not be signalled (70).
#pragma once

#include <mutex>
#include <set>
#include <utility>
#include <string>
#include <vector>

#include "contracts/error.h"
#include "platform/process.h"

namespace korad::testing {

class FakeProcessLauncher final : public ProcessLauncher {
 public:
  ProcessOutcome outcome{0, 0, false, {}, {}, false};
  int32_t spawnFails = 0;
  std::set<int32_t> endedPids;
  std::set<int32_t> deniedPids;
  // (pid, signal) in the order sent, refused ones included.
  std::vector<std::pair<int32_t, int32_t>> signals;

  int32_t Start(const std::vector<std::string>& arguments) override {
    Launch(arguments);
    return 4242;
  }
  ProcessOutcome Run(const std::vector<std::string>& arguments, const ProcessRunOptions& options) override {
    Launch(arguments);
    return outcome;
  }
  bool Signal(int32_t pid, int32_t signalNumber) override {
    std::lock_guard lock(m_mutex);
    if (pid < 1) RaiseRuntimeError(kErrInvalidCall);
    signals.emplace_back(pid, signalNumber);
    if (deniedPids.contains(pid)) throw Error(kErrPermissionDenied, "", "Permission denied: kill: injected");
    return !endedPids.contains(pid);
  }
  std::vector<std::vector<std::string>> Launched() const {
    std::lock_guard lock(m_mutex);
    return m_launched;
  }

 private:
  void Launch(const std::vector<std::string>& arguments) {
    std::lock_guard lock(m_mutex);
    m_launched.push_back(arguments);
    if (arguments.empty()) RaiseRuntimeError(kErrInvalidCall);
    if (spawnFails != 0) {
      throw Error(spawnFails, "", RuntimeErrorText(spawnFails) + ": posix_spawn(" + arguments[0] + "): injected");
    }
  }

  mutable std::mutex m_mutex;
  std::vector<std::vector<std::string>> m_launched;
};

}  // namespace korad::testing
