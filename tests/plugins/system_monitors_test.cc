// The monitors of processor, memory, disk space and processes, fed with fixed facts:
// what each run reports while a problem holds, and silence once it clears.
#include <gtest/gtest.h>

#include <algorithm>

#include "contracts/class_registry.h"
#include "korad_linux/monitors.h"
#include "plugins/monitor_fixture.h"

namespace korad {
namespace {

using testing::MonitorFixture;

constexpr uint64_t kMB = 1024 * 1024;

// A sample `busy` and `idle` ticks past `base`.
CpuTimes Sample(const CpuTimes& base, uint64_t busy, uint64_t idle) {
  CpuTimes next = base;
  next.user += busy;
  next.idle += idle;
  return next;
}

class CpuMonitorTest : public MonitorFixture {};

TEST_F(CpuMonitorTest, BusyShareIsMeasuredSinceThePreviousRunAndAlertsAboveTheMaximum) {
  ASSERT_EQ(Configure<CpuMonitor>({}), "");
  const CpuTimes s0{1000, 0, 0, 9000, 0, 0, 0, 0};
  const CpuTimes s1 = Sample(s0, 95, 5);

  // First run: no previous counters, so only a sample, and not a word on the busy share
  // (a sample of the agent's own start would alarm on every start).
  facts->cpuSamples = {s0, Sample(s0, 1, 0)};
  EXPECT_TRUE(Run().empty());
  EXPECT_TRUE(Cleared().empty());
  EXPECT_EQ(clock->SleptMillis(), 0);
  EXPECT_EQ(facts->cpuReads, 1);

  facts->cpuSamples = {s1};
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "CPU");
  EXPECT_EQ(reported[0]->Condition(), "HighCpuUtilisation");
  EXPECT_EQ(Attribute(reported[0], "CpuPercent"), "95");
  EXPECT_EQ(Attribute(reported[0], "MaxCpuPercent"), "90");
  EXPECT_EQ(Attribute(reported[0], "ConditionHolds"), "True");

  // 20 % busy since the run before.
  facts->cpuSamples = {Sample(s1, 200, 800)};
  EXPECT_TRUE(Run().empty());
  EXPECT_EQ(Cleared(), std::vector<std::string>{"CPU: HighCpuUtilisation"});

  // Busy again since the third run.
  facts->cpuSamples = {Sample(Sample(s1, 200, 800), 930, 70)};
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(Attribute(reported[0], "CpuPercent"), "93");
  EXPECT_EQ(clock->SleptMillis(), 0);
}

TEST_F(CpuMonitorTest, CountersThatWentBackMeanARebootAndAFreshSample) {
  ASSERT_EQ(Configure<CpuMonitor>({{"MaxCpuPercent", "50"}}), "");
  state->Add("CpuBusyTicks", Value(1e9));
  state->Add("CpuTotalTicks", Value(2e9));
  const CpuTimes afterBoot{100, 0, 0, 900, 0, 0, 0, 0};
  facts->cpuSamples = {afterBoot};
  EXPECT_TRUE(Run().empty());
  EXPECT_TRUE(Cleared().empty());
  EXPECT_EQ(state->Item("CpuBusyTicks").ToDouble(), 100.0);
  facts->cpuSamples = {Sample(afterBoot, 60, 40)};
  const std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(Attribute(reported[0], "CpuPercent"), "60");
}

TEST_F(CpuMonitorTest, LoadAlertsOnAnyConfiguredAverageAndBlankChecksStayOff) {
  ASSERT_EQ(Configure<CpuMonitor>({{"MaxCpuPercent", ""}, {"MaxLoad1", "2"}, {"MaxLoad15", "8"}}), "");
  facts->load = {3.25, 1.5, 0.75};
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "HighLoad");
  EXPECT_EQ(Attribute(reported[0], "Load1"), "3.25");
  EXPECT_EQ(Attribute(reported[0], "MaxLoad1"), "2");
  EXPECT_EQ(Attribute(reported[0], "MaxLoad5"), "<none>");
  EXPECT_EQ(Attribute(reported[0], "MaxLoad15"), "8");
  EXPECT_EQ(facts->cpuReads, 0);  // the busy share is off

  facts->load = {1.9, 5, 7.9};
  EXPECT_TRUE(Run().empty());
}

TEST_F(CpuMonitorTest, ANonNumericThresholdIsAConfigurationError) {
  ASSERT_EQ(Configure<CpuMonitor>({{"MaxCpuPercent", "lots"}}), "");
  EXPECT_EQ(RunError(), "KoradLinux.CpuMonitor: MaxCpuPercent = 'lots' is not a number");
}

TEST_F(CpuMonitorTest, UpdatesGoOutOnlyWhenTheConfigurationAsks) {
  ASSERT_EQ(Configure<CpuMonitor>({{"ReportUpdates", "True"}}), "");
  const CpuTimes s0{};
  facts->cpuSamples = {s0};
  Run();
  facts->cpuSamples = {Sample(s0, 99, 1)};
  const std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_TRUE(reported[0]->GetAttributes()->Item(Value("CpuPercent"))->RelevantToUpdates());
  EXPECT_NE(Configure<CpuMonitor>({{"ReportUpdates", "sometimes"}}), "");
}

class MemoryMonitorTest : public MonitorFixture {};

TEST_F(MemoryMonitorTest, LowAvailableMemoryByShareOrBySizeAndSwapOnlyWhenThereIsSome) {
  ASSERT_EQ(Configure<MemoryMonitor>({{"MinFreeSwapPercent", "20"}}), "");
  facts->memory = {1000 * kMB, 20 * kMB, 50 * kMB, 0, 0};
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);  // no swap, never low on it
  EXPECT_EQ(reported[0]->Resource(), "Memory");
  EXPECT_EQ(reported[0]->Condition(), "LowMemory");
  EXPECT_EQ(Attribute(reported[0], "FreeMemoryPercent"), "5");
  EXPECT_EQ(Attribute(reported[0], "AvailableMB"), "50");
  EXPECT_EQ(Attribute(reported[0], "TotalMB"), "1000");
  EXPECT_EQ(Attribute(reported[0], "MinFreeMemoryPercent"), "10");
  EXPECT_EQ(Attribute(reported[0], "MinAvailableMB"), "<none>");

  facts->memory = {1000 * kMB, 20 * kMB, 500 * kMB, 1000 * kMB, 100 * kMB};
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "Swap");
  EXPECT_EQ(reported[0]->Condition(), "LowSwap");
  EXPECT_EQ(Attribute(reported[0], "FreeSwapPercent"), "10");

  facts->memory.swapFree = 900 * kMB;
  EXPECT_TRUE(Run().empty());

  ASSERT_EQ(Configure<MemoryMonitor>({{"MinAvailableMB", "600"}}), "");
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(Attribute(reported[0], "MinAvailableMB"), "600");
}

class DiskSpaceMonitorTest : public MonitorFixture {
 protected:
  DiskSpaceMonitorTest() {
    facts->Mount("/dev/sda1", "/", "ext4", 100000, 5000);
    facts->Mount("proc", "/proc", "proc", 0, 0);
    facts->Mount("tmpfs", "/dev/shm", "tmpfs", 1000, 1);
    facts->Mount("/dev/sdb1", "/home", "xfs", 100000, 60000);
    facts->Mount("/dev/sda1", "/etc/hosts", "ext4", 100000, 5000);  // a bind mount of "/"
    facts->Mount("/dev/sdc1", "/mnt/My Disk", "ext4", 2000, 100);
  }
};

TEST_F(DiskSpaceMonitorTest, EveryDiskBackedMountUnderTheShareGetsItsOwnForm) {
  ASSERT_EQ(Configure<DiskSpaceMonitor>({}), "");
  const std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0]->Resource(), "/");
  EXPECT_EQ(reported[0]->Condition(), "LowDiskSpace");
  EXPECT_EQ(reported[0]->KeyAttributes(), "MountPoint");
  EXPECT_EQ(Attribute(reported[0], "FreePercent"), "5");
  EXPECT_EQ(Attribute(reported[0], "FreeMB"), "5000");
  EXPECT_EQ(Attribute(reported[0], "TotalMB"), "100000");
  EXPECT_EQ(Attribute(reported[0], "Device"), "/dev/sda1");
  EXPECT_EQ(Attribute(reported[0], "MinFreePercent"), "10");
  // The resource loses its blanks; the key attribute keeps the mount point whole.
  EXPECT_EQ(reported[1]->Resource(), "/mnt/MyDisk");
  EXPECT_EQ(Attribute(reported[1], "MountPoint"), "/mnt/My Disk");
  EXPECT_FALSE(forms->CompareForms(reported[0], reported[1]));
  // Pseudo file systems and the bind mount were never asked.
  const std::vector<std::string> asked = facts->spaceReads;
  EXPECT_EQ(asked, (std::vector<std::string>{"/", "/home", "/mnt/My Disk"}));

  facts->space[0].second.available = 50000ull * kMB;
  facts->space[5].second.available = 1000ull * kMB;
  EXPECT_TRUE(Run().empty());
}

TEST_F(DiskSpaceMonitorTest, ListedMountsOnlyAndAMissingOneIsReported) {
  ASSERT_EQ(Configure<DiskSpaceMonitor>({{"Mounts", " /home/ , /data"}, {"MinFreeMB", "70000"}}), "");
  const std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0]->Resource(), "/data");
  EXPECT_EQ(reported[0]->Condition(), "MountNotFound");
  EXPECT_EQ(reported[1]->Resource(), "/home");
  EXPECT_EQ(reported[1]->Condition(), "LowDiskSpace");  // 60 % free, but under 70000 MB
  EXPECT_EQ(Attribute(reported[1], "MinFreeMB"), "70000");
}

class ProcessMonitorTest : public MonitorFixture {
 protected:
  ProcessMonitorTest() {
    facts->processes = {{1, "systemd", "systemd"},
                        {10, "sshd", "sshd"},
                        {11, "sshd", "sshd"},
                        {12, "unattended-upgr", "unattended-upgrade-shutdown"},
                        {13, "kworker/0:1", ""}};
  }
};

TEST_F(ProcessMonitorTest, CountsAgainstTheBoundsByName) {
  ASSERT_EQ(Configure<ProcessMonitor>({{"ProcessName", "sshd"}}), "");
  EXPECT_TRUE(Run().empty());
  EXPECT_EQ(Cleared(), (std::vector<std::string>{"sshd: ProcessNotRunning", "sshd: TooFewProcesses",
                                                 "sshd: TooManyProcesses"}));

  ASSERT_EQ(Configure<ProcessMonitor>({{"ProcessName", "sshd"}, {"MinCount", "3"}}), "");
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Resource(), "sshd");
  EXPECT_EQ(reported[0]->Condition(), "TooFewProcesses");
  EXPECT_EQ(Attribute(reported[0], "ProcessCount"), "2");
  EXPECT_EQ(Attribute(reported[0], "MinCount"), "3");

  ASSERT_EQ(Configure<ProcessMonitor>({{"ProcessName", "sshd"}, {"MaxCount", "1"}}), "");
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "TooManyProcesses");

  ASSERT_EQ(Configure<ProcessMonitor>({{"ProcessName", "unattended-upgrade-shutdown"}}), "");
  EXPECT_TRUE(Run().empty());

  ASSERT_EQ(Configure<ProcessMonitor>({{"ProcessName", "nginx"}}), "");
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "ProcessNotRunning");
  EXPECT_EQ(Attribute(reported[0], "ProcessCount"), "0");
}

TEST_F(ProcessMonitorTest, TheNameIsRequired) {
  EXPECT_EQ(Configure<ProcessMonitor>({}), "Could not find 'ProcessName' configuration for Resource 'Check1'");
}

TEST(LinuxMonitors, EveryClassIdCreatesAMonitor) {
  ClassRegistry registry;
  RegisterLinuxMonitors(registry);
  for (std::string_view id : {"KoradLinux.CpuMonitor", "KoradLinux.MemoryMonitor", "KoradLinux.DiskSpaceMonitor",
                              "KoradLinux.ProcessMonitor", "KoradLinux.FileMonitor", "KoradLinux.CommandMonitor",
                              "koradlinux.inventorymonitor"}) {
    const ObjectRef object = registry.TryCreate(id);
    ASSERT_NE(object, nullptr) << id;
    EXPECT_NE(std::dynamic_pointer_cast<IMonitor>(object), nullptr) << id;
    EXPECT_TRUE(EqualsNoCase(object->ClassId(), id));
  }
}

}  // namespace
}  // namespace korad
