// A program started by a test, with its output in files; the destructor kills what is
// still running, so a test that fails half-way leaves no process behind.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace korad::testing {

class ChildProcess {
 public:
  ChildProcess() = default;
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess() { Kill(SIGKILL), Reap(); }

  // Starts `program` with `args`; stdout and stderr go to the two files (truncated).
  // False when the program couldn't be started.
  bool Start(const std::string& program, std::vector<std::string> args, const std::string& stdoutPath,
             const std::string& stderrPath) {
    args.insert(args.begin(), program);
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int failed = posix_spawn(&m_pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) m_pid = 0;
    return failed == 0;
  }
  bool Running() const { return m_pid > 0; }
  pid_t Pid() const { return m_pid; }
  bool Kill(int signal) { return m_pid > 0 && kill(m_pid, signal) == 0; }

  // The exit code, or -1 if it hasn't exited within `limit` or died of a signal.
  int WaitForExit(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (m_pid > 0 && std::chrono::steady_clock::now() < end) {
      int status = 0;
      if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
        m_pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return -1;
  }

 private:
  void Reap() {
    if (m_pid > 0) waitpid(m_pid, nullptr, 0);
    m_pid = 0;
  }
  pid_t m_pid = 0;
};

// Polls `condition` every 20 ms until it holds or `limit` passes.
template <class Condition>
bool WaitFor(Condition&& condition, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (std::chrono::steady_clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

}  // namespace korad::testing
