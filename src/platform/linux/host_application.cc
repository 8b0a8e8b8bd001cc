// The agent application on Linux: a status the host sets, the paths of its home and the
// log writer over <home>/LogFiles.
#include <strings.h>
#include <unistd.h>

#include <atomic>
#include <optional>
#include <string>

#include "platform/application.h"
#include "platform/environment.h"
#include "platform/linux/file_log_writer.h"
#include "platform/platform.h"

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

bool IsBlank(std::string_view text) { return text.find_first_not_of(" \t") == std::string_view::npos; }

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
  Environment& environment = Platform::Current().GetEnvironment();
  const std::optional<std::string> configured = environment.Variable("KORAD_HOME");
  if (configured && !IsBlank(*configured)) {
    std::string home = *configured;
    if (home.front() != '/') home = CurrentDirectory() + "/" + home;  // the process may change folder later
    return WithoutTrailingSeparators(home);
  }
  const std::string program = Parent(environment.ProgramPath());
  const std::string folderName = program.substr(program.rfind('/') + 1);
  if (!program.empty() && strcasecmp(folderName.c_str(), "BIN") == 0) return Parent(program);
  return WithoutTrailingSeparators(CurrentDirectory());
}

}  // namespace korad
