#include "contracts/class_registry.h"
#include "monitor/agent_monitor.h"
#include "monitor/monitor_manager.h"

namespace korad {

void RegisterMonitorClasses(ClassRegistry& registry) {
  registry.RegisterClass<MonitorManager>(MonitorManager::kClassId);
  RegisterAgentMonitor(registry);
}

}  // namespace korad
