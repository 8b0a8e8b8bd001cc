#include <optional>
#include <string>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "korad_linux/monitors.h"
#include "korad_linux/mount_selection.h"
#include "platform/platform.h"
#include "platform/system_facts.h"

namespace korad {

void DiskSpaceMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  AddNumberRule(*validationRules, "MinFreePercent", "10",
                "Share of a file system's space still free below which to alert; blank: no check", "0", "100");
  AddNumberRule(*validationRules, "MinFreeMB", "", "Megabytes still free below which to alert; blank: no check");
  validationRules->AddEx("Mounts", false, {}, {},
                         "Comma-separated mount points to watch; blank: every disk-backed file system", "String");
  AddReportUpdatesRule(*validationRules);
}

void DiskSpaceMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                                   std::shared_ptr<IncidentState>& incidentState,
                                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::optional<double> minPercent = keys.OptionalNumber("MinFreePercent");
  const std::optional<double> minFreeMB = keys.OptionalNumber("MinFreeMB");
  const std::vector<std::string> wanted = keys.List("Mounts");
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);

  SystemFacts& facts = Platform::Current().GetSystemFacts();
  const std::vector<MountEntry> table = facts.ReadMounts();
  std::vector<MountEntry> watched;
  if (wanted.empty()) {
    watched = DiskMounts(table);
  } else {
    for (std::string point : wanted) {
      // "/data/" names the mount at "/data".
      while (point.size() > 1 && point.back() == '/') point.pop_back();
      if (const MountEntry* mount = FindMount(table, point)) {
        watched.push_back(*mount);
        ReportCondition(*incidentForms, false, point, "MountNotFound", {FormAttribute("MountPoint", point)},
                        reportUpdates, "MountPoint");
        continue;
      }
      ReportProblem(*incidentForms, point, "MountNotFound", {FormAttribute("MountPoint", point)}, reportUpdates,
                    "MountPoint");
    }
  }

  for (const MountEntry& mount : watched) {
    const std::optional<FileSystemSpace> space = facts.ReadSpace(mount.mountPoint);
    if (!space || space->total == 0) {
      TraceMonitor(logManager, kClassId, "No space figures for " + mount.mountPoint);
      continue;
    }
    const double freePercent = space->FreePercent();
    const double freeMB = static_cast<double>(space->available) / (1024.0 * 1024.0);
    TraceMonitor(logManager, kClassId,
                 mount.mountPoint + ": " + NumberText(freePercent) + "% free, " + MegabytesText(space->available) +
                     " MB");
    {
      const bool low = (minPercent && freePercent < *minPercent) || (minFreeMB && freeMB < *minFreeMB);
      std::vector<Value> attributes = {FormAttribute("MountPoint", mount.mountPoint),
                                       FormAttribute("Device", mount.device),
                                       FormAttribute("FileSystemType", mount.fileSystemType),
                                       FormAttribute("FreePercent", NumberText(freePercent)),
                                       FormAttribute("FreeMB", MegabytesText(space->available)),
                                       FormAttribute("TotalMB", MegabytesText(space->total))};
      if (minPercent) attributes.push_back(FormAttribute("MinFreePercent", NumberText(*minPercent)));
      if (minFreeMB) attributes.push_back(FormAttribute("MinFreeMB", NumberText(*minFreeMB)));
      ReportCondition(*incidentForms, low, mount.mountPoint, "LowDiskSpace", std::move(attributes), reportUpdates,
                    "MountPoint");
    }
  }
}

}  // namespace korad
