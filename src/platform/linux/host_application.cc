// The agent application on Linux: a status the host sets, the paths of its home and the
// log writer over <home>/LogFiles.
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>

#include "platform/application.h"
#include "platform/linux/file_log_writer.h"

namespace korad {
namespace {

std::string WithoutTrailingSeparators(std::string path) {
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

std::string Parent(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string CurrentDirectory() {
  char buffer[4096];
  return getcwd(buffer, sizeof buffer) != nullptr ? std::string(buffer) : std::string(".");
}

std::string ProgramFolder() {
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer);
  if (n <= 0 || static_cast<size_t>(n) >= sizeof buffer) return {};
  return Parent(std::string(buffer, static_cast<size_t>(n)));
}

bool IsBlank(const char* text) {
  for (; *text != '\0'; ++text) {
    if (*text != ' ' && *text != '\t') return false;
  }
  return true;
}

class LinuxHostApplication final : public HostApplication {
 public:
  explicit LinuxHostApplication(std::string homeDirectory)
      : m_home(WithoutTrailingSeparators(std::move(homeDirectory))),
        m_logger(std::make_shared<FileLogWriter>(m_home)) {}

  int32_t Status() override { return m_status.load(std::memory_order_acquire); }
  void SetStatus(int32_t status) override { m_status.store(status, std::memory_order_release); }

  std::string ServicePath() override { return m_home + "/BIN"; }
  // The program runs from the service's own folder, so both paths agree.
  std::string Path() override { return ServicePath(); }

  // Made once with the application: callers fetch it for every line.
  std::shared_ptr<LogWriter> Logger() override { return m_logger; }

 private:
  const std::string m_home;
  // Running from the start: code that runs without a host (tools, tests) sees a live
  // agent; the host lowers it when the service stops.
  std::atomic<int32_t> m_status{kServiceRunning};
  const std::shared_ptr<LogWriter> m_logger;
};

}  // namespace

std::shared_ptr<HostApplication> MakeHostApplication(std::string homeDirectory) {
  return std::make_shared<LinuxHostApplication>(std::move(homeDirectory));
}

std::string DefaultHomeDirectory() {
  const char* configured = std::getenv("KORAD_HOME");
  if (configured != nullptr && !IsBlank(configured)) {
    std::string home = configured;
    if (home.front() != '/') home = CurrentDirectory() + "/" + home;  // the process may change folder later
    return WithoutTrailingSeparators(home);
  }
  const std::string program = ProgramFolder();
  const std::string folderName = program.substr(program.rfind('/') + 1);
  if (!program.empty() && strcasecmp(folderName.c_str(), "BIN") == 0) return Parent(program);
  return WithoutTrailingSeparators(CurrentDirectory());
}

}  // namespace korad
