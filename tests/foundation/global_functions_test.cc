// The free functions every class uses: where the home is, and which folders exist.
#include <gtest/gtest.h>

#include "foundation/global_functions.h"
#include "platform/platform.h"
#include "support/fake_environment.h"
#include "support/recording_log.h"

namespace korad {
namespace {

using testing::FakeApplication;

class HomeDirectoryTest : public ::testing::Test {
 protected:
  void SetUp() override { Platform::Current().SetApplication(m_app); }
  void TearDown() override { Platform::Current().SetApplication(nullptr); }
  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>("/srv/agent");
  testing::ScopedEnvironment m_environment;
};

TEST_F(HomeDirectoryTest, ServicePathWinsThenTheOtherPathThenTheProgramFolder) {
  EXPECT_EQ(GetHomeDirectory(), "/srv/agent");
  m_app->SetServicePath("");
  m_app->SetPath("/opt/other/BIN");
  EXPECT_EQ(GetHomeDirectory(), "/opt/other") << "asked anew every call, nothing cached";
  m_app->SetPath("");
  m_environment->programPath = "/usr/lib/korad/koradagent";
  EXPECT_EQ(GetHomeDirectory(), "/usr/lib/korad");
}

TEST_F(HomeDirectoryTest, SharedProgramFolderSitsUnderTheCommonFilesFolder) {
  EXPECT_EQ(GetSpecialFolder(0x2B), "/srv/agent/Common Files/");
  EXPECT_EQ(GetSharedProgramFolder(), "/srv/agent/Common Files/Morvane");
  EXPECT_EQ(GetSpecialFolder(0x7777), "");
  EXPECT_EQ(GetSpecialFolder(0x1A), "");
  m_environment->variables["HOME"] = "/home/ops";
  EXPECT_EQ(GetSpecialFolder(0x1A), "/home/ops/");
}

TEST(GlobalFunctions, KeysBlanksAndFileExistsReadingErrorsAsFalse) {
  EXPECT_EQ(NormalizeKey("  my Key "), "MY KEY");
  EXPECT_EQ(StripSpaces(" My  Key "), "MyKey");
  EXPECT_TRUE(IsBlank(""));
  EXPECT_FALSE(IsBlank(" "));
  EXPECT_TRUE(FileExists("/"));
  EXPECT_FALSE(FileExists("/no/such/file/anywhere"));
  EXPECT_FALSE(FileExists(std::string(5000, 'x')));
}

}  // namespace
}  // namespace korad
