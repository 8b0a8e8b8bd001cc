// The Linux monitors. Each is created by its class id and driven by the engine: once
// SetValidationRules, then GetIncident on every due run of a configuration. A run adds
// one form for each problem it sees now and nothing for what is fine; the engine keeps
// the memory, the delays and the resolves.
#pragma once

#include <memory>
#include <string_view>

#include "korad_linux/monitor_support.h"

namespace korad {

class ClassRegistry;

// Registers every monitor below under its class id.
void RegisterLinuxMonitors(ClassRegistry& registry);

// Processor busy share and load average. Resource "CPU"; conditions "HighCpuUtilisation"
// (keys MaxCpuPercent, 90 by default) and "HighLoad" (MaxLoad1, MaxLoad5, MaxLoad15,
// each off when blank). The busy share is measured since the configuration's previous
// run, kept in its state; a first run (or the first after a reboot) only takes that
// sample and says nothing of the busy share.
class CpuMonitor final : public LinuxMonitor<CpuMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.CpuMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// Memory available to programs and free swap. Resource "Memory", condition "LowMemory"
// (MinFreeMemoryPercent, 10 by default; MinAvailableMB, off when blank); resource
// "Swap", condition "LowSwap" (MinFreeSwapPercent, off when blank; machines without
// swap are never low).
class MemoryMonitor final : public LinuxMonitor<MemoryMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.MemoryMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// Free space per mounted file system: one "LowDiskSpace" form per mount under
// MinFreePercent (10 by default) or MinFreeMB (off when blank), Resource the mount
// point, key attribute MountPoint. Mounts lists the mount points to watch; blank
// watches every disk-backed file system once. A listed mount point that isn't mounted
// is "MountNotFound".
class DiskSpaceMonitor final : public LinuxMonitor<DiskSpaceMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.DiskSpaceMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// How many processes go by ProcessName (required). Resource the name; "ProcessNotRunning"
// when none runs and MinCount (1 by default) asks for some, "TooFewProcesses" below
// MinCount, "TooManyProcesses" above MaxCount (off when blank).
class ProcessMonitor final : public LinuxMonitor<ProcessMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.ProcessMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// A file's presence, age and size. Path (required) is the resource. "FileMissing" when
// MustExist (True by default) and it isn't there, "FileExists" when MustExist is False
// and it is; "FileTooOld" past MaxAgeSeconds since its last write, "FileTooLarge" above
// MaxSizeBytes (both off when blank).
class FileMonitor final : public LinuxMonitor<FileMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.FileMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// Runs a check program (Command, required, split into words as a shell splits it, with
// nothing expanded and no shell run) with the exit convention of the common monitoring
// checks: 0 OK adds nothing, 1 "WARNING", 2 "CRITICAL", 3 and anything else "UNKNOWN",
// as is a run past TimeoutSeconds (30 by default) or a program that can't start. The
// first output line, the further lines and the performance data after "|" become
// attributes. Resource is the Resource key, or the program's file name; the Command
// attribute tells apart checks of one program. README.md beside this file lists the keys,
// conditions and attributes of every monitor.
class CommandMonitor final : public LinuxMonitor<CommandMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.CommandMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

// Inventory: tracked objects for the mounted disk-backed file systems ("Mount"), the
// network interfaces ("NetworkInterface") and the kernel, operating system release,
// processor and memory ("System"), under Resource (the host name by default). Include
// chooses among Mounts, Interfaces and System (all by default). Adds no forms.
class InventoryMonitor final : public LinuxMonitor<InventoryMonitor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.InventoryMonitor";
  void GetIncident(std::shared_ptr<IncidentForms>& incidentForms, std::shared_ptr<IncidentState>& incidentState,
                   const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) override;
};

}  // namespace korad
