#include "contracts/class_registry.h"
#include "korad_linux/actors.h"
#include "korad_linux/monitors.h"

namespace korad {

void RegisterLinuxMonitors(ClassRegistry& registry) {
  registry.RegisterClass<CpuMonitor>(CpuMonitor::kClassId);
  registry.RegisterClass<MemoryMonitor>(MemoryMonitor::kClassId);
  registry.RegisterClass<DiskSpaceMonitor>(DiskSpaceMonitor::kClassId);
  registry.RegisterClass<ProcessMonitor>(ProcessMonitor::kClassId);
  registry.RegisterClass<FileMonitor>(FileMonitor::kClassId);
  registry.RegisterClass<CommandMonitor>(CommandMonitor::kClassId);
  registry.RegisterClass<InventoryMonitor>(InventoryMonitor::kClassId);
}

void RegisterLinuxActors(ClassRegistry& registry) {
  registry.RegisterClass<CommandActor>(CommandActor::kClassId);
  registry.RegisterClass<ServiceActor>(ServiceActor::kClassId);
  registry.RegisterClass<ProcessActor>(ProcessActor::kClassId);
}

}  // namespace korad
