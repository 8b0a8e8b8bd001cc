// The file monitor on real files under a driven clock, and the inventory monitor's
// tracked objects from fixed facts.
#include <gtest/gtest.h>

#include "incident/tracked_objects.h"
#include "korad_linux/monitors.h"
#include "platform/file_system.h"
#include "plugins/monitor_fixture.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::MonitorFixture;
using testing::TempFolder;

class FileMonitorTest : public MonitorFixture {
 protected:
  TempFolder folder;
};

TEST_F(FileMonitorTest, AgeAndSizeOfAFileThatIsThere) {
  const std::string path = folder / "app log.txt";
  testing::WriteBytes(path, "0123456789");
  const OleDate written = Platform::Current().GetFileSystem().Stat(path)->modifiedUtc;
  clock->SetUtcNow(written.AddSeconds(100));

  ASSERT_EQ(Configure<FileMonitor>({{"Path", path}, {"MaxAgeSeconds", "60"}, {"MaxSizeBytes", "5"}}), "");
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 2u);
  EXPECT_EQ(reported[0]->Condition(), "FileTooOld");
  EXPECT_EQ(reported[0]->Resource(), folder / "applog.txt");
  EXPECT_EQ(Attribute(reported[0], "Path"), path);
  EXPECT_EQ(Attribute(reported[0], "AgeSeconds"), "100");
  EXPECT_EQ(Attribute(reported[0], "MaxAgeSeconds"), "60");
  EXPECT_EQ(reported[1]->Condition(), "FileTooLarge");
  EXPECT_EQ(Attribute(reported[1], "SizeBytes"), "10");

  ASSERT_EQ(Configure<FileMonitor>({{"Path", path}, {"MaxAgeSeconds", "200"}, {"MaxSizeBytes", "10"}}), "");
  EXPECT_TRUE(Run().empty());
}

TEST_F(FileMonitorTest, PresenceAsRequiredOrAsForbidden) {
  const std::string path = folder / "flag";
  ASSERT_EQ(Configure<FileMonitor>({{"Path", path}}), "");
  std::vector<IncidentFormRef> reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "FileMissing");

  ASSERT_EQ(Configure<FileMonitor>({{"Path", path}, {"MustExist", "False"}}), "");
  EXPECT_TRUE(Run().empty());
  testing::WriteBytes(path, "");
  reported = Run();
  ASSERT_EQ(reported.size(), 1u);
  EXPECT_EQ(reported[0]->Condition(), "FileExists");

  EXPECT_NE(Configure<FileMonitor>({{"Path", path}, {"MustExist", "maybe"}}), "");
}

class InventoryMonitorTest : public MonitorFixture {
 protected:
  InventoryMonitorTest() {
    facts->Mount("/dev/sda1", "/", "ext4", 100000, 40000);
    facts->Mount("proc", "/proc", "proc", 0, 0);
    facts->interfaces = {{"lo", true, true, "00:00:00:00:00:00", {"127.0.0.1/8"}, {"::1/128"}},
                         {"eth0", true, false, "52:54:00:12:34:56", {"192.0.2.10/24"}, {}}};
    facts->operatingSystem = {"host1", "Linux", "6.1.0-18-amd64", "#1 SMP", "x86_64",
                              "Debian GNU/Linux", "Debian GNU/Linux 12 (bookworm)", "debian", "12"};
    facts->memory = {8192ull * 1024 * 1024, 0, 0, 1024ull * 1024 * 1024, 0};
  }

  std::string Property(std::string_view object, std::string_view name) {
    const TrackedObjectRef tracked = forms->GetTrackedObjects()->Item(Value(object));
    return tracked->Properties()->Item(Value(name))->PropertyValue().ToText();
  }
};

TEST_F(InventoryMonitorTest, MountsInterfacesAndSystemAsTrackedObjectsWithNoForms) {
  ASSERT_EQ(Configure<InventoryMonitor>({}), "");
  EXPECT_TRUE(Run().empty());
  const std::shared_ptr<TrackedObjects> objects = forms->GetTrackedObjects();
  ASSERT_EQ(objects->Count(), 7);  // "/", lo, eth0, kernel, release, processor, memory
  EXPECT_EQ(objects->Item(Value(int32_t{1}))->ResourceName(), "host1");
  EXPECT_EQ(Property("host1:::/:::Mount", "FreePercent"), "40");
  EXPECT_EQ(Property("host1:::/:::Mount", "Device"), "/dev/sda1");
  EXPECT_EQ(Property("host1:::eth0:::NetworkInterface", "MACAddress"), "52:54:00:12:34:56");
  EXPECT_EQ(Property("host1:::eth0:::NetworkInterface", "IPv4Addresses"), "192.0.2.10/24");
  EXPECT_EQ(Property("host1:::lo:::NetworkInterface", "Loopback"), "True");
  EXPECT_EQ(forms->GetTrackedObjects()->Item(Value("host1:::lo:::NetworkInterface"))->Properties()->Count(), 4);
  EXPECT_EQ(Property("host1:::Kernel:::OperatingSystem", "Release"), "6.1.0-18-amd64");
  EXPECT_EQ(Property("host1:::OSRelease:::OperatingSystem", "PrettyName"), "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(Property("host1:::Processor:::Hardware", "Count"), "4");
  EXPECT_EQ(Property("host1:::Memory:::Hardware", "TotalMB"), "8192");
}

TEST_F(InventoryMonitorTest, IncludeChoosesThePartsAndResourceNamesTheOwner) {
  ASSERT_EQ(Configure<InventoryMonitor>({{"Include", "mounts"}, {"Resource", "web-01"}}), "");
  Run();
  ASSERT_EQ(forms->GetTrackedObjects()->Count(), 1);
  EXPECT_EQ(Property("web-01:::/:::Mount", "TotalMB"), "100000");

  ASSERT_EQ(Configure<InventoryMonitor>({{"Include", "Mounts,Printers"}}), "");
  EXPECT_EQ(RunError(),
            "KoradLinux.InventoryMonitor: Include = 'Mounts,Printers' is not a list of Mounts, Interfaces, System");
}

}  // namespace
}  // namespace korad
