#include "agent_program.h"

#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "agent_log.h"
#include "agent_service.h"
#include "contracts/class_registry.h"
#include "library_classes.h"
#include "platform/application.h"
#include "platform/platform.h"

namespace korad::agent {
namespace {

std::string Absolute(const std::string& path) {
  if (!path.empty() && path.front() == '/') return path;
  char buffer[4096];
  if (getcwd(buffer, sizeof buffer) == nullptr) return path;
  return std::string(buffer) + "/" + path;
}

std::string WithoutTrailingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// Takes SIGTERM and SIGINT on a thread of its own (they are blocked everywhere else, so
// no section thread is interrupted) and asks the service to stop. A second signal ends
// the process at once, for an ExecuteMethod that will not end.
class StopSignals {
 public:
  explicit StopSignals(AgentService& service) {
    sigemptyset(&m_signals);
    sigaddset(&m_signals, SIGTERM);
    sigaddset(&m_signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &m_signals, nullptr);  // inherited by every thread made after this
    m_thread = std::thread([this, &service] { Wait(service); });
  }
  ~StopSignals() {
    m_done.store(true);
    pthread_kill(m_thread.native_handle(), SIGTERM);
    m_thread.join();
  }

 private:
  void Wait(AgentService& service) {
    int received = 0;
    for (int count = 0;; ++count) {
      if (sigwait(&m_signals, &received) != 0 || m_done.load()) return;
      if (count > 0) {
        AgentLog(logLevelError, "Second stop signal: leaving without waiting for the sections");
        std::_Exit(1);
      }
      AgentLog(logLevelInfo, std::string("Stop requested by ") + (received == SIGINT ? "SIGINT" : "SIGTERM"));
      service.RequestStop();
    }
  }

  sigset_t m_signals{};
  std::atomic<bool> m_done{false};
  std::thread m_thread;
};

}  // namespace

int RunAgent(const AgentOptions& options) {
  const std::string home = WithoutTrailingSeparators(Absolute(options.home));
  struct stat st {};
  if (stat(home.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    std::fprintf(stderr, "koradagent: home folder '%s' does not exist\n", home.c_str());
    return kExitFatal;
  }
  // The log writer drops lines it has no folder for.
  const std::string logFolder = home + "/LogFiles";
  if (mkdir(logFolder.c_str(), 0755) != 0 && errno != EEXIST) {
    std::fprintf(stderr, "koradagent: can't create '%s': %s\n", logFolder.c_str(), std::strerror(errno));
  }

  std::shared_ptr<HostApplication> application = MakeHostApplication(home);
  if (options.foreground) application = WithConsoleLog(std::move(application), stderr);
  Platform::Current().SetApplication(application);

  ClassRegistry& registry = ClassRegistry::Global();
  RegisterLibraryClasses(registry);

  ServiceSettings settings;
  settings.home = home;
  settings.once = options.once;
  AgentService service(settings, registry);
  StopSignals signals(service);
  std::string error;
  if (!service.Start(error)) {
    AgentLog(logLevelError, "Agent can't start: " + error);
    std::fprintf(stderr, "koradagent: %s\n", error.c_str());
    return kExitFatal;
  }
  service.Run();
  service.Stop();
  return kExitOk;
}

}  // namespace korad::agent
