// One section of the service file on its own thread: create the object by class id, set
// the section's properties by name, call InitializeMethod once, then ExecuteMethod on
// the section's schedule until asked to stop. A class that can't be created (or an
// object whose InitializeMethod fails) is logged once and tried again later. A stop
// wakes a sleeping thread at once; a running ExecuteMethod is left to finish (the
// library's own loops watch the application status and end between configurations).
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "contracts/object.h"
#include "service_file.h"

namespace korad {
class ClassRegistry;
}

namespace korad::agent {

struct RunnerSettings {
  // Run InitializeMethod and one ExecuteMethod (at once, whatever the schedule), then end.
  bool once = false;
  // How long to wait before trying a failed create or InitializeMethod again.
  std::chrono::milliseconds retryInterval{std::chrono::seconds(60)};
};

class SectionRunner {
 public:
  SectionRunner(SectionConfig section, ClassRegistry& registry, RunnerSettings settings);
  // Stops and joins.
  ~SectionRunner();
  SectionRunner(const SectionRunner&) = delete;
  SectionRunner& operator=(const SectionRunner&) = delete;

  void Start();
  // Returns at once; a thread that waits wakes up and ends.
  void RequestStop();
  // Waits for the thread to end. Call from one thread only.
  void Join();

  const SectionConfig& Section() const { return m_section; }

 private:
  void Run();
  // Waits until `deadline`; false if a stop came first.
  bool WaitUntil(std::chrono::steady_clock::time_point deadline);
  // The object with its properties set and initialised, or nullptr (logged).
  ObjectRef Prepare();
  void Execute(Object& object);
  // Logs a failure at error level when it differs from the last one of its kind, else
  // as a trace line, so a section failing the same way every minute writes one line.
  void ReportFailure(std::string& last, const std::string& text);
  std::string Prefix() const;
  // "; trying again every N seconds", or nothing when no retry follows.
  std::string RetryText() const;

  const SectionConfig m_section;
  ClassRegistry& m_registry;
  const RunnerSettings m_settings;

  std::thread m_thread;
  std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_stop = false;  // guarded by m_mutex

  // Used by the section's thread only.
  std::string m_lastPrepareFailure;
  std::string m_lastExecuteFailure;
  int m_failedPrepares = 0;
};

}  // namespace korad::agent
