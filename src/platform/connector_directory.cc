#include "platform/connector_directory.h"

#include <mutex>
#include <unordered_map>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/connector.h"
#include "platform/connector_message.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad {
namespace {

std::string WithoutTrailingSeparators(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

// The connectors of the process by folder. Folder names compare without regard to case,
// as the file system resolves them, so "mvRouterQ" and "MvRouterQ" meet in one queue.
class SharedConnectors {
 public:
  static SharedConnectors& Instance() {
    static SharedConnectors instance;
    return instance;
  }

  std::shared_ptr<Connector> ForFolder(const std::string& folder) {
    std::lock_guard lock(m_mutex);
    std::shared_ptr<Connector>& connector = m_byFolder[folder];
    if (!connector) connector = MakeDirectoryConnector(folder);
    return connector;
  }

 private:
  std::mutex m_mutex;
  std::unordered_map<std::string, std::shared_ptr<Connector>, NoCaseHash, NoCaseEqual> m_byFolder;
};

}  // namespace

std::string ConnectorDirectory::FolderFor(std::string_view connectorId) {
  const std::string_view id = TrimBlanks(connectorId);
  if (id.empty()) RaiseRuntimeError(kErrInvalidCall);
  const std::string home = Platform::Current().HomeDirectory();
  std::string path = GetPrivateProfileString(id, "Path", "", home + "/BIN/MvAgent.ini");
  if (path.empty()) return home + "/Connectors/" + std::string(id);
  path = FileSystem::NativePath(path);
  if (path.front() != '/') path = home + "/" + path;
  return WithoutTrailingSeparators(std::move(path));
}

std::shared_ptr<Connector> ConnectorDirectory::GetConnector(std::string_view connectorId) {
  return SharedConnectors::Instance().ForFolder(FolderFor(connectorId));
}

const DispatchTable<ConnectorDirectory>& ConnectorDirectory::Dispatch() {
  // Its one operation takes an argument, which late binding doesn't carry.
  static const DispatchTable<ConnectorDirectory> table;
  return table;
}

void RegisterConnectorClasses(ClassRegistry& registry) {
  registry.RegisterClass<ConnectorMessage>(ConnectorMessage::kClassId);
  registry.RegisterClass<ConnectorDirectory>(ConnectorDirectory::kClassId);
  registry.Register(kDirectoryConnectorClassId,
                    [] { return std::dynamic_pointer_cast<Object>(MakeDirectoryConnector({})); });
}

}  // namespace korad
