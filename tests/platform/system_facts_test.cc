// The machine's facts as this process sees them, read through /proc, statvfs, getifaddrs
// and uname, and the arithmetic the monitors build on.
#include "platform/system_facts.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <string>

namespace korad {
namespace {

TEST(CpuBusyPercent, TheBusyShareOfTheTimeBetweenTwoSamples) {
  CpuTimes earlier{100, 0, 50, 800, 50, 0, 0, 0};
  CpuTimes later{160, 0, 70, 900, 70, 0, 0, 0};  // 80 busy of 200
  ASSERT_TRUE(CpuBusyPercent(earlier, later).has_value());
  EXPECT_DOUBLE_EQ(*CpuBusyPercent(earlier, later), 40.0);
  // No time passed, or counters that went back (a reboot): no answer.
  EXPECT_FALSE(CpuBusyPercent(later, later).has_value());
  EXPECT_FALSE(CpuBusyPercent(later, earlier).has_value());
}

TEST(FileSystemSpace, FreeShareCountsWhatUsersMayStillWrite) {
  // 100 blocks, 20 free of which 10 are reserved for root: 10 of 90 usable.
  FileSystemSpace space{100, 20, 10};
  EXPECT_NEAR(space.FreePercent(), 100.0 * 10 / 90, 1e-9);
  EXPECT_EQ(FileSystemSpace{}.FreePercent(), 0.0);
}

TEST(ProcessHasName, LongNamesNeedTheProgramNameTheKernelCutsShort) {
  ProcessEntry daemon{1, "sshd", "sshd"};
  EXPECT_TRUE(ProcessHasName(daemon, "sshd"));
  EXPECT_FALSE(ProcessHasName(daemon, "SSHD"));
  EXPECT_FALSE(ProcessHasName(daemon, "ssh"));
  ProcessEntry longName{2, "unattended-upgr", "unattended-upgrade-shutdown"};
  EXPECT_TRUE(ProcessHasName(longName, "unattended-upgrade-shutdown"));
  EXPECT_FALSE(ProcessHasName(longName, "unattended-upgrades"));
}

TEST(ProcSystemFacts, ReadsThisMachine) {
  const std::shared_ptr<SystemFacts> facts = MakeProcSystemFacts();
  const CpuTimes first = facts->ReadCpuTimes();
  EXPECT_GT(first.Total(), 0u);
  EXPECT_GE(facts->ReadCpuTimes().Total(), first.Total());
  EXPECT_GE(facts->ReadLoadAverage().load15, 0.0);
  EXPECT_GE(facts->ReadProcessor().count, 1);

  const MemoryFacts memory = facts->ReadMemory();
  EXPECT_GT(memory.total, 0u);
  EXPECT_LE(memory.available, memory.total);
  EXPECT_GT(facts->ReadProcessMemory().resident, 0u);

  const std::vector<MountEntry> mounts = facts->ReadMounts();
  auto root = std::find_if(mounts.begin(), mounts.end(), [](const MountEntry& m) { return m.mountPoint == "/"; });
  ASSERT_NE(root, mounts.end());
  const std::optional<FileSystemSpace> space = facts->ReadSpace("/");
  ASSERT_TRUE(space.has_value());
  EXPECT_GT(space->total, 0u);
  EXPECT_FALSE(facts->ReadSpace("/no/such/mount").has_value());

  // This test program is among the processes, under its own name.
  const std::vector<ProcessEntry> processes = facts->ReadProcesses();
  auto self = std::find_if(processes.begin(), processes.end(),
                           [](const ProcessEntry& p) { return p.pid == static_cast<int32_t>(::getpid()); });
  ASSERT_NE(self, processes.end());
  EXPECT_TRUE(ProcessHasName(*self, "platform_tests"));

  const std::vector<NetworkInterfaceFacts> interfaces = facts->ReadNetworkInterfaces();
  auto loopback = std::find_if(interfaces.begin(), interfaces.end(), [](const auto& i) { return i.loopback; });
  ASSERT_NE(loopback, interfaces.end());
  EXPECT_NE(std::find(loopback->ipv4Addresses.begin(), loopback->ipv4Addresses.end(), "127.0.0.1/8"),
            loopback->ipv4Addresses.end());

  const OperatingSystemFacts os = facts->ReadOperatingSystem();
  EXPECT_EQ(os.kernelName, "Linux");
  EXPECT_FALSE(os.kernelRelease.empty());
  EXPECT_FALSE(os.hostName.empty());
}

}  // namespace
}  // namespace korad
