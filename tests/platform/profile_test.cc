// The profile functions on real files: a file's round trip through the free functions,
// and a full disk in the middle of a write.
#include "platform/profile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "platform/file_system.h"
#include "platform/linux/profile_store.h"
#include "platform/platform.h"
#include "support/error_number.h"
#include "support/fault_injecting_file_system.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using Lines = std::vector<std::string>;
using testing::NumberOf;
using testing::TempHome;

class ProfileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_fs->CreateDirectories(m_home / "BIN");
    m_ini = m_home / "BIN/MvAgent.ini";
  }
  void TearDown() override { Platform::Current().SetFileSystem(nullptr); }

  std::string Raw() { return m_fs->ReadFile(m_ini); }

  std::shared_ptr<FileSystem> m_fs = MakeLinuxFileSystem();
  TempHome m_home;
  std::string m_ini;
};

TEST_F(ProfileTest, AFileRoundTripKeepsWhatItDoesNotTouch) {
  const std::string original =
      "; written by hand\n"
      "[MvAgent]\n"
      "LogLevel=6\n"
      "# keep me\n"
      "Connect='Data Source=Y;User=u'\n"
      "\n"
      "[Disk]\n"
      "Frequency = 30\n";
  m_fs->WriteFileAtomic(m_ini, original);
  const std::string upper = m_home.Path() + "\\bin\\MVAGENT.INI";

  EXPECT_EQ(GetPrivateProfileSectionNames(upper), (Lines{"MvAgent", "Disk"}));
  EXPECT_EQ(GetPrivateProfileSection("MVAGENT", upper),
            (Lines{"LogLevel=6", "# keep me", "Connect='Data Source=Y;User=u'"}));
  EXPECT_EQ(GetPrivateProfileString("mvagent", "connect", "", upper), "Data Source=Y;User=u");
  EXPECT_EQ(GetPrivateProfileString("Disk", "FREQUENCY", "", upper), "30");
  EXPECT_EQ(GetPrivateProfileString("Disk", "Units", "n", upper), "n");

  EXPECT_TRUE(WritePrivateProfileString("disk", "frequency", "60", upper));
  EXPECT_TRUE(WritePrivateProfileString("Disk", "Units", "\"quoted\"", upper));
  EXPECT_TRUE(WritePrivateProfileString("MvAgent", "LogLevel", std::nullopt, upper));
  EXPECT_EQ(Raw(),
            "; written by hand\n"
            "[MvAgent]\n"
            "# keep me\n"
            "Connect='Data Source=Y;User=u'\n"
            "\n"
            "[Disk]\n"
            "Frequency =60\n"
            "Units=\"quoted\"\n");
  EXPECT_EQ(m_fs->List(m_home / "BIN", "*"), Lines{"MvAgent.ini"});  // one file, no leftovers
  EXPECT_EQ(GetPrivateProfileString("Disk", "Units", "", m_ini), "quoted");
  EXPECT_EQ(GetPrivateProfileSection("Disk", m_ini), (Lines{"Frequency=60", "Units=\"quoted\""}));

  EXPECT_TRUE(WritePrivateProfileSection("Actor", {"MyActorID=X\r\nDefaultTimeout=86400"}, m_ini));
  EXPECT_EQ(GetPrivateProfileString("ACTOR", "defaulttimeout", "", m_ini), "86400");
  EXPECT_TRUE(WritePrivateProfileString("MvAgent", std::nullopt, std::nullopt, m_ini));
  EXPECT_TRUE(WritePrivateProfileSection("actor", {}, m_ini));
  EXPECT_EQ(Raw(), "; written by hand\n[Disk]\nFrequency =60\nUnits=\"quoted\"\n");
}

TEST_F(ProfileTest, AMissingFileReadsAsEmptyAndIsCreatedByTheFirstWrite) {
  const std::string path = m_home / "BIN/Module.ini";
  EXPECT_TRUE(GetPrivateProfileSectionNames(path).empty());
  EXPECT_EQ(GetPrivateProfileSection("S", path), std::nullopt);
  EXPECT_EQ(GetPrivateProfileString("S", "K", "default", path), "default");

  // Deleting from nothing changes nothing, so no file appears.
  EXPECT_TRUE(WritePrivateProfileString("S", "K", std::nullopt, path));
  EXPECT_TRUE(WritePrivateProfileString("S", std::nullopt, std::nullopt, path));
  EXPECT_FALSE(m_fs->Exists(path));

  EXPECT_TRUE(WritePrivateProfileString("S", "K", "V", path));
  EXPECT_TRUE(WritePrivateProfileString("S", "Empty", "", path));
  EXPECT_EQ(m_fs->ReadFile(path), "[S]\r\nK=V\r\nEmpty=\r\n");
  EXPECT_EQ(GetPrivateProfileString("S", "Empty", "default", path), "");

  // No folder, no file: the write fails and says why.
  errno = 0;
  EXPECT_FALSE(WritePrivateProfileString("S", "K", "V", m_home / "NoFolder/x.ini"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(m_fs->Exists(m_home / "NoFolder"));
}

// Readers share a parsed copy of each file; whatever changes the file, the next read sees it.
TEST_F(ProfileTest, AReadSeesTheChangesOfEveryOtherWriter) {
  auto limit = [&] { return GetPrivateProfileString("Disk", "Limit", "", m_ini); };
  m_fs->WriteFileAtomic(m_ini, "[Disk]\r\nLimit=10\r\n");
  // As a configuration file between passes: its last change is long enough ago that
  // its size and times alone tell whether it changed.
  std::this_thread::sleep_for(std::chrono::milliseconds(250));
  EXPECT_EQ(limit(), "10");

  // Another program writing in place, within the same second and with the same size,
  // and again before the file's times could tell the two writes apart.
  for (const char* value : {"20", "30"}) {
    std::ofstream(m_ini, std::ios::binary | std::ios::trunc) << "[Disk]\r\nLimit=" << value << "\r\n";
    EXPECT_EQ(limit(), value);
  }
  // A file renamed over it.
  std::ofstream(m_ini + ".new", std::ios::binary) << "[Disk]\r\nLimit=40\r\n";
  std::filesystem::rename(m_ini + ".new", m_ini);
  EXPECT_EQ(limit(), "40");
  // A writer that spells the name otherwise, and one that removes the file.
  EXPECT_TRUE(WritePrivateProfileString("DISK", "limit", "50", m_home.Path() + "\\bin\\mvagent.INI"));
  EXPECT_EQ(limit(), "50");
  m_fs->RemoveFile(m_ini);
  EXPECT_EQ(limit(), "");
}

TEST_F(ProfileTest, AFullDiskDuringAWriteLeavesThePreviousFileWhole) {
  const std::string original = "[MvAgent]\r\nLogLevel=6\r\n";
  m_fs->WriteFileAtomic(m_ini, original);
  auto faulty = std::make_shared<FaultInjectingFileSystem>(m_fs);
  ProfileStore store(*faulty);

  faulty->FailNextWrites(1);
  EXPECT_EQ(NumberOf([&] { store.WriteString("MvAgent", "LogLevel", "9", m_ini); }), kErrDiskFull);
  EXPECT_EQ(Raw(), original);
  faulty->FailNextRenames(1);
  EXPECT_EQ(NumberOf([&] { store.WriteSection("New", {"a=1"}, m_ini); }), kErrPermissionDenied);
  EXPECT_EQ(Raw(), original);

  // The free functions answer the same failure with false and errno.
  Platform::Current().SetFileSystem(faulty);
  faulty->FailNextWrites(1);
  errno = 0;
  EXPECT_FALSE(WritePrivateProfileString("MvAgent", "LogLevel", "9", m_ini));
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(GetPrivateProfileString("MvAgent", "LogLevel", "", m_ini), "6");

  // Once the disk has room, the same write goes through.
  EXPECT_TRUE(WritePrivateProfileString("MvAgent", "LogLevel", "9", m_ini));
  EXPECT_EQ(Raw(), "[MvAgent]\r\nLogLevel=9\r\n");
  EXPECT_EQ(faulty->FaultsRaised(), 3);
  EXPECT_EQ(m_fs->List(m_home / "BIN", "*"), Lines{"MvAgent.ini"});
}

}  // namespace
}  // namespace korad
