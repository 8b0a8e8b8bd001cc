// ConnectorDirectory: the "mvSystem.Configurations" component, which hands out the
// connector for a connector id. Modules create and drop these objects freely; the
// connectors behind them are shared by the whole process, one per queue, so that the
// monitors and the control plane that name the same id use the same connector.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "contracts/object.h"

namespace korad {

class ClassRegistry;
class Connector;

class ConnectorDirectory final : public Dispatchable<ConnectorDirectory> {
 public:
  static constexpr std::string_view kClassId = "mvSystem.Configurations";

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ConnectorDirectory>& Dispatch();

  // The folder of a connector id: the "Path" key of the section named like the id in
  // <home>/BIN/MvAgent.ini (a relative path is taken from the home directory), else
  // <home>/Connectors/<id>. Read anew on each call. Raises 5 for a blank id.
  static std::string FolderFor(std::string_view connectorId);

  // The process's connector for `connectorId`, made on first request. Ids that lead to
  // the same folder (ids differ in case only, two sections with one Path) share one
  // connector. Thread-safe.
  std::shared_ptr<Connector> GetConnector(std::string_view connectorId);
};

// Registers "MvConnect.ConnectorMessage", "MvConnect.DirectoryConnector" (its folder
// set through the "Path" property) and "mvSystem.Configurations".
void RegisterConnectorClasses(ClassRegistry& registry);

}  // namespace korad
