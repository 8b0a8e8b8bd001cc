#include "monitor/event_close_message.h"

#include <string>

#include "foundation/file_functions.h"
#include "incident/serialized_text.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {
namespace {

std::string MessagesFolder(std::string_view homeDirectory) {
  return std::string(homeDirectory) + "/ModuleMessages";
}

void Trace(const LogManagerRef& logManager, std::string_view logSource, const std::string& text) {
  if (logManager) logManager->LogInfo(text, logSource);
}

}  // namespace

std::string EventCloseMessagePath(std::string_view homeDirectory, std::string_view moduleName, std::string_view guid) {
  return MessagesFolder(homeDirectory) + "/" + std::string(moduleName) + "/" + std::string(guid);
}

void CreateEventCloseMessage(std::string_view homeDirectory, std::string_view guid, std::string_view moduleName,
                             const LogManagerRef& logManager, std::string_view logSource) {
  Trace(logManager, logSource, "CreateEventCloseMessage: Creating close request file with GUID " + std::string(guid));
  EnsureFolder(MessagesFolder(homeDirectory));
  EnsureFolder(MessagesFolder(homeDirectory) + "/" + std::string(moduleName));
  const std::string path = EventCloseMessagePath(homeDirectory, moduleName, guid);
  try {
    DeleteFileIfExists(path);
  } catch (...) {
    // The write below replaces whatever is left.
  }
  Platform::Current().GetFileSystem().WriteFileAtomic(path, std::string(guid) + std::string(kLineEnd));
  Trace(logManager, logSource, "CreateEventCloseMessage: Created close request file with GUID " + std::string(guid));
}

}  // namespace korad
