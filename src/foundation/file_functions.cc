#include "foundation/file_functions.h"

#include <string>

#include "contracts/error.h"
#include "foundation/global_functions.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {
namespace {

// The folder that holds `path` (native form, trailing separators ignored); blank for a
// name without a folder.
std::string ParentOf(std::string_view path) {
  std::string native = FileSystem::NativePath(path);
  while (native.size() > 1 && native.back() == '/') native.pop_back();
  const size_t slash = native.find_last_of('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? std::string("/") : native.substr(0, slash);
}

}  // namespace

void EnsureFolder(std::string_view path) {
  FileSystem& fileSystem = Platform::Current().GetFileSystem();
  if (fileSystem.Exists(path)) return;
  const std::string parent = ParentOf(path);
  if (!parent.empty() && !fileSystem.IsDirectory(parent)) {
    throw Error(kErrPathNotFound, "", "Path not found: the folder above " + std::string(path) + " does not exist");
  }
  fileSystem.CreateDirectories(path);
}

void DeleteFileIfExists(std::string_view path) {
  if (FileExists(path)) Platform::Current().GetFileSystem().RemoveFile(path);
}

void ClearHiddenAttribute(std::string_view path) {}

bool SetFileDateTime(std::string_view path, OleDate localDate) {
  try {
    const OleDate utc = Platform::Current().GetClock().LocalToUtc(localDate);
    Platform::Current().GetFileSystem().SetFileTimes(path, utc, utc);
  } catch (const Error& error) {
    throw Error(error.Number(), error.Source(),
                "SetFileTime: [" + std::to_string(error.Number()) + "] " + error.Description());
  }
  return true;
}

std::string GetFileVersionText(std::string_view path) { return {}; }

}  // namespace korad
