#include <string>
#include <vector>

#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "incident/tracked_objects.h"
#include "korad_linux/monitors.h"
#include "korad_linux/mount_selection.h"
#include "platform/platform.h"
#include "platform/system_facts.h"

namespace korad {
namespace {

constexpr std::string_view kParts[] = {"Mounts", "Interfaces", "System"};

std::string Joined(const std::vector<std::string>& items) {
  std::string text;
  for (const std::string& item : items) {
    if (!text.empty()) text += ",";
    text += item;
  }
  return text;
}

// Properties with nothing to say are left out.
void AddProperty(TrackedObject& object, std::string_view name, std::string_view value) {
  if (!value.empty()) object.Properties()->Add(name, Value(value));
}

void AddMounts(TrackedObjects& objects, const std::string& resource, SystemFacts& facts) {
  for (const MountEntry& mount : DiskMounts(facts.ReadMounts())) {
    const TrackedObjectRef object = objects.Add(resource, mount.mountPoint, "Mount");
    if (!object) continue;
    AddProperty(*object, "Device", mount.device);
    AddProperty(*object, "FileSystemType", mount.fileSystemType);
    if (const std::optional<FileSystemSpace> space = facts.ReadSpace(mount.mountPoint)) {
      AddProperty(*object, "TotalMB", MegabytesText(space->total));
      AddProperty(*object, "FreeMB", MegabytesText(space->available));
      AddProperty(*object, "FreePercent", NumberText(space->FreePercent()));
    }
  }
}

void AddInterfaces(TrackedObjects& objects, const std::string& resource, SystemFacts& facts) {
  for (const NetworkInterfaceFacts& facet : facts.ReadNetworkInterfaces()) {
    const TrackedObjectRef object = objects.Add(resource, facet.name, "NetworkInterface");
    if (!object) continue;
    AddProperty(*object, "State", facet.up ? "Up" : "Down");
    AddProperty(*object, "Loopback", facet.loopback ? "True" : "False");
    // The loopback's all-zero address says nothing.
    if (facet.macAddress.find_first_not_of("0:") != std::string::npos) AddProperty(*object, "MACAddress", facet.macAddress);
    AddProperty(*object, "IPv4Addresses", Joined(facet.ipv4Addresses));
    AddProperty(*object, "IPv6Addresses", Joined(facet.ipv6Addresses));
  }
}

void AddSystem(TrackedObjects& objects, const std::string& resource, SystemFacts& facts, const OperatingSystemFacts& os) {
  if (const TrackedObjectRef kernel = objects.Add(resource, "Kernel", "OperatingSystem")) {
    AddProperty(*kernel, "Name", os.kernelName);
    AddProperty(*kernel, "Release", os.kernelRelease);
    AddProperty(*kernel, "Version", os.kernelVersion);
    AddProperty(*kernel, "Machine", os.machine);
  }
  if (const TrackedObjectRef release = objects.Add(resource, "OSRelease", "OperatingSystem")) {
    AddProperty(*release, "Name", os.osName);
    AddProperty(*release, "PrettyName", os.osPrettyName);
    AddProperty(*release, "Id", os.osId);
    AddProperty(*release, "VersionId", os.osVersionId);
  }
  const ProcessorFacts processor = facts.ReadProcessor();
  if (const TrackedObjectRef cpu = objects.Add(resource, "Processor", "Hardware")) {
    AddProperty(*cpu, "Count", std::to_string(processor.count));
    AddProperty(*cpu, "Model", processor.model);
  }
  const MemoryFacts memory = facts.ReadMemory();
  if (const TrackedObjectRef ram = objects.Add(resource, "Memory", "Hardware")) {
    AddProperty(*ram, "TotalMB", MegabytesText(memory.total));
    AddProperty(*ram, "SwapTotalMB", MegabytesText(memory.swapTotal));
  }
}

}  // namespace

void InventoryMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  validationRules->AddEx("Resource", false, {}, {}, "The resource the inventory belongs to; blank: the host name",
                         "String");
  validationRules->AddEx("Include", false, {}, "Mounts,Interfaces,System",
                         "Comma-separated parts to report: Mounts, Interfaces, System", "String");
}

void InventoryMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                                   std::shared_ptr<IncidentState>& incidentState,
                                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  std::vector<std::string> include = keys.List("Include");
  if (include.empty()) include.assign(std::begin(kParts), std::end(kParts));
  bool wanted[std::size(kParts)] = {};
  for (const std::string& item : include) {
    size_t i = 0;
    while (i < std::size(kParts) && !EqualsNoCase(item, kParts[i])) ++i;
    if (i == std::size(kParts)) keys.Invalid("Include", keys.Text("Include"), "a list of Mounts, Interfaces, System");
    wanted[i] = true;
  }

  SystemFacts& facts = Platform::Current().GetSystemFacts();
  const OperatingSystemFacts os = facts.ReadOperatingSystem();
  std::string resource = keys.Text("Resource", os.hostName);
  if (resource.empty()) resource = "localhost";

  std::shared_ptr<TrackedObjects> objects = incidentForms->GetTrackedObjects();
  if (!objects) {
    objects = std::make_shared<TrackedObjects>();
    incidentForms->SetTrackedObjects(objects);
  }
  if (wanted[0]) AddMounts(*objects, resource, facts);
  if (wanted[1]) AddInterfaces(*objects, resource, facts);
  if (wanted[2]) AddSystem(*objects, resource, facts, os);
  TraceMonitor(logManager, kClassId, std::to_string(objects->Count()) + " tracked objects for " + resource);
}

}  // namespace korad
