#include "foundation/global_functions.h"

#include "contracts/error.h"
#include "platform/application.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {
namespace {
constexpr int kCommonFilesFolder = 0x2B;

std::string WithTrailingSeparator(std::string path) {
  if (path.empty() || path.back() != '/') path.push_back('/');
  return path;
}
}  // namespace

bool FileExists(std::string_view path) {
  try {
    return Platform::Current().GetFileSystem().Exists(path);
  } catch (...) {
    return false;
  }
}

OleDate UTCNow() { return Platform::Current().GetClock().UtcNow(); }

std::string LibraryFolder() {
  const std::string exe = Platform::Current().GetEnvironment().ProgramPath();
  if (exe.empty()) return ".";
  const size_t slash = exe.rfind('/');
  return slash == std::string::npos || slash == 0 ? std::string("/") : exe.substr(0, slash);
}

std::string GetHomeDirectory() {
  Application* application = nullptr;
  try {
    application = &Platform::Current().GetApplication();
  } catch (...) {
    RaiseLibraryError("Could not create application object to get home directory (1)");
  }
  std::string path = application->ServicePath();
  if (path.empty()) path = application->Path();
  std::string home = path.size() > 4 ? path.substr(0, path.size() - 4) : std::string();
  return home.empty() ? LibraryFolder() : home;
}

std::string GetSpecialFolder(int folderId) {
  // The system folders this agent keeps on Linux; other ids have none.
  switch (folderId) {
    case kCommonFilesFolder: {
      // Shared components of the agent live beside its home, so a home is self-contained.
      try {
        return WithTrailingSeparator(GetHomeDirectory() + "/Common Files");
      } catch (...) {
        return {};
      }
    }
    case 0x23:  // common application data
      return "/var/lib/";
    case 0x26:  // program files
      return "/opt/";
    case 0x24:  // the system's own folder
      return "/etc/";
    case 0x05:  // the user's documents
    case 0x1A:  // the user's application data
    case 0x1C: {  // the user's local application data
      const std::string home = Platform::Current().GetEnvironment().Variable("HOME").value_or("");
      return home.empty() ? std::string() : WithTrailingSeparator(home);
    }
    default:
      return {};
  }
}

std::string GetSharedProgramFolder() {
  const std::string common = GetSpecialFolder(kCommonFilesFolder);
  if (!common.empty()) return common + "Morvane";
  return LibraryFolder() + "/Morvane";
}

}  // namespace korad
