// Configuration errors on disk and in the module heartbeat file: the round trip of the
// error file, the cleaning against the ini's sections, and the heartbeat's one-line form.
#include <string>

#include "monitor/monitor_fixture.h"
#include "platform/profile.h"

namespace korad::testing {
namespace {

class MonitorConfigErrorsTest : public MonitorTest {};

TEST_F(MonitorConfigErrorsTest, ErrorFileRoundTripAndHeartbeat) {
  WriteWholeFile(ConfigErrorFile(),
                 "Disk=line one**morvaneCrLf**line two\r\n"
                 "Eq=a=b = c\r\n"
                 "no equals sign here\r\n"
                 "=no key\r\n"
                 "Lone=cr\rand lf\n");
  auto manager = MakeManager();
  manager->LoadConfigurationErrors(kModule);
  EXPECT_EQ(manager->BuildConfigurationError(),
            "[mv[Disk]]: line one\r\nline two\r\n\r\n"
            "[mv[Eq]]: a=b = c\r\n\r\n"
            "[mv[Lone]]: cr\rand lf\r\n\r\n");

  std::filesystem::remove(ConfigErrorFile());
  manager->SaveConfigurationErrors(kModule);
  EXPECT_EQ(ReadBytes(ConfigErrorFile()),
            "Disk=line one**morvaneCrLf**line two\r\n"
            "Eq=a=b = c\r\n"
            "Lone=cr\rand lf\r\n");

  manager->UpdateHeartbeats(kModule, manager->BuildConfigurationError());
  EXPECT_EQ(GetPrivateProfileString(kModule, "HBDate", "", HeartbeatFile()), "2024-01-15T12:00:00Z");
  EXPECT_EQ(GetPrivateProfileString(kModule, "CurrentError", "", HeartbeatFile()),
            "[mv[Disk]]: line one***mvCrLf***line two***mvCrLf******mvCrLf***"
            "[mv[Eq]]: a=b = c***mvCrLf******mvCrLf***"
            "[mv[Lone]]: crand lf***mvCrLf******mvCrLf***");

  // Another module's section is left alone; the next heartbeat replaces this one's.
  ASSERT_TRUE(WritePrivateProfileString("OtherModule", "HBDate", "2024-01-01T00:00:00Z", HeartbeatFile()));
  Advance(600);
  manager->UpdateHeartbeats(kModule, "");
  EXPECT_EQ(GetPrivateProfileString(kModule, "HBDate", "", HeartbeatFile()), "2024-01-15T12:10:00Z");
  EXPECT_EQ(GetPrivateProfileString(kModule, "CurrentError", "<none>", HeartbeatFile()), "");
  EXPECT_EQ(GetPrivateProfileString("OtherModule", "HBDate", "", HeartbeatFile()), "2024-01-01T00:00:00Z");
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(MonitorConfigErrorsTest, CleaningKeepsTheTailMatchLooseness) {
  WriteWholeFile(ConfigErrorFile(), "Disk=full\r\nGone=removed section\r\nPU=tail of CPU\r\ncpu=case differs\r\n");
  auto manager = MakeManager();
  manager->LoadConfigurationErrors(kModule);
  manager->CleanConfigErrors(std::vector<std::string>{"Global", "CPU", "Disk"});
  manager->SaveConfigurationErrors(kModule);
  EXPECT_EQ(ReadBytes(ConfigErrorFile()), "Disk=full\r\nPU=tail of CPU\r\ncpu=case differs\r\n");
  EXPECT_EQ(Matching("CleanConfigErrors: Removing Configuration Errors for Gone").size(), 1u);

  // No section list: nothing is cleaned.
  manager->CleanConfigErrors(std::nullopt);
  manager->SaveConfigurationErrors(kModule);
  EXPECT_EQ(ReadBytes(ConfigErrorFile()), "Disk=full\r\nPU=tail of CPU\r\ncpu=case differs\r\n");
}

TEST_F(MonitorConfigErrorsTest, MissingFileIsAFirstRunAndSavesEmpty) {
  auto manager = MakeManager();
  manager->LoadConfigurationErrors(kModule);
  EXPECT_TRUE(ErrorLines().empty());
  EXPECT_EQ(manager->BuildConfigurationError(), "");
  manager->SaveConfigurationErrors(kModule);
  EXPECT_TRUE(Exists(ConfigErrorFile()));
  EXPECT_EQ(ReadBytes(ConfigErrorFile()), "");

  // A SerializeLocation moves the file, trailing separator or not; blanks leave the name.
  const std::string elsewhere = m_home / "Elsewhere";
  std::filesystem::create_directories(elsewhere);
  manager->SetSerializeLocation(elsewhere + "/");
  WriteWholeFile(elsewhere + "/CEMyModule.SER", "CPU=x\r\n");
  manager->LoadConfigurationErrors("My Module");
  EXPECT_EQ(manager->BuildConfigurationError(), "[mv[CPU]]: x\r\n\r\n");
}

TEST_F(MonitorConfigErrorsTest, UnreadableFileIsReportedAtLevelTwo) {
  std::filesystem::create_directories(ConfigErrorFile());  // a folder where the file should be
  auto manager = MakeManager();
  manager->LoadConfigurationErrors(kModule);
  const auto errors = ErrorLines();
  ASSERT_EQ(errors.size(), 2u);
  EXPECT_EQ(errors[0].text.rfind("ERROR: LoadConfigurationErrors: Failed load " + ConfigErrorFile() + " (Error = ", 0),
            0u);
  EXPECT_EQ(errors[1].text.rfind("ERROR: MonitorManager.LoadConfigurationErrors: ", 0), 0u);
}

}  // namespace
}  // namespace korad::testing
