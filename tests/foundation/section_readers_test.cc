// The section readers over real ini files: what they hand out, and what the first read
// leaves in the file (connect strings and older cipher texts migrated to scheme 3).
#include <gtest/gtest.h>

#include <filesystem>

#include "foundation/agent_home_fixture.h"
#include "foundation/configurations.h"
#include "foundation/section_readers.h"
#include "platform/profile.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::AgentHomeTest;
using testing::NumberOf;

class SectionReadersTest : public AgentHomeTest {
 protected:
  std::string RawValue(const std::string& path, const std::string& section, const std::string& key) {
    return GetPrivateProfileString(section, key, "<missing>", path);
  }
  std::shared_ptr<Configurations> ReadInto(const std::string& path, const std::string& section) {
    auto configurations = std::make_shared<Configurations>();
    configurations->SetConfigMoniker(section);
    ReadSectionIntoConfigurations("MonitorX", path, section, *configurations, m_log);
    return configurations;
  }
};

TEST_F(SectionReadersTest, FirstReadMigratesConnectStringsAndOlderCipherTextToSchemeThree) {
  // Scheme 4 is what the registry uses; in an ini file it counts as an older scheme.
  const std::string older = Cipher().Encrypt("hunter2", 4);
  const std::string path = WriteFile("ModuleConfigs/Db.ini",
                                     "[Db]\r\n"
                                     "ConnectString=Server=db;Pwd=x\r\n"
                                     "connectionstring=Server=other\r\n"
                                     "Password=" + older + "\r\n"
                                     "Plain=abc\r\n");
  auto first = ReadInto(path, "Db");
  EXPECT_EQ(first->Item("ConnectString")->Value(), "Server=db;Pwd=x");
  EXPECT_EQ(first->Item("ConnectionString")->Value(), "Server=other");
  EXPECT_EQ(first->Item("Password")->Value(), "hunter2");

  const std::string connect = RawValue(path, "Db", "ConnectString");
  EXPECT_EQ(connect.find("Server=db"), std::string::npos) << "the plain text is gone from the file";
  EXPECT_EQ(Cipher().GetScheme(connect), 3);
  EXPECT_EQ(Cipher().Decrypt(connect), "Server=db;Pwd=x");
  EXPECT_EQ(Cipher().GetScheme(RawValue(path, "Db", "connectionstring")), 3);
  const std::string password = RawValue(path, "Db", "Password");
  EXPECT_EQ(Cipher().GetScheme(password), 3);
  EXPECT_EQ(Cipher().Decrypt(password), "hunter2");
  EXPECT_EQ(RawValue(path, "Db", "Plain"), "abc") << "only connect strings are encrypted";

  // Later reads hand out the same plain text and leave the file alone.
  const std::string fileAfterFirstRead = ReadFile("ModuleConfigs/Db.ini");
  SectionArray values;
  ReadSectionIntoArray("MonitorX", path, "Db", values, m_log);
  ASSERT_TRUE(values);
  EXPECT_EQ(*values, (std::vector<SectionEntry>{{"ConnectString", "Server=db;Pwd=x"},
                                                {"connectionstring", "Server=other"},
                                                {"Password", "hunter2"},
                                                {"Plain", "abc"}}));
  EXPECT_EQ(ReadFile("ModuleConfigs/Db.ini"), fileAfterFirstRead);
}

TEST_F(SectionReadersTest, ValuesAreExpandedEscapedAndFilteredInEachReadersOrder) {
  SetLocalNow(2026, 3, 5);
  m_environment->variables["KORAD_READER_TEST_SEMI"] = ";hidden";
  const std::string path = WriteFile("ModuleConfigs/M.ini",
                                     "[S]\n"
                                     "Dated=log[?mvDate.YYYY].txt\n"
                                     "Note=;commented out\n"
                                     "Env=[?mvEnvVar.KORAD_READER_TEST_SEMI]\n"
                                     "Multi=line1**MORVANECRLF**line2**morvaneCrLf**\n"
                                     "Dup=first\n"
                                     "dup=second\n");

  auto configurations = ReadInto(path, "S");
  EXPECT_EQ(configurations->Item("Dated")->Value(), "log2026.txt");
  EXPECT_FALSE(configurations->Exists("Note"));
  EXPECT_EQ(configurations->Item("Env")->Value(), ";hidden") << "the ';' test comes before expansion here";
  EXPECT_EQ(configurations->Item("Multi")->Value(), "line1\r\nline2\r\n");
  EXPECT_EQ(configurations->Item("Dup")->Value(), "first") << "a key the view holds keeps its value";

  SectionArray values;
  ReadSectionIntoArray("MonitorX", path, "S", values, m_log);
  ASSERT_TRUE(values);
  EXPECT_EQ(*values, (std::vector<SectionEntry>{{"Dated", "log2026.txt"},
                                                {"Multi", "line1\r\nline2\r\n"},
                                                {"Dup", "first"},
                                                {"dup", "second"}}))
      << "expansion before the ';' test drops Env; equal keys all land";

  SectionArray none;
  ReadSectionIntoArray("MonitorX", path, "Absent", none, m_log);
  EXPECT_FALSE(none) << "nothing stored leaves the array Empty";
}

TEST_F(SectionReadersTest, AnEntryWithoutEqualsEndsTheReadWithAClearError) {
  const std::string path = WriteFile("ModuleConfigs/Bad.ini", "[S]\nA=1\nbroken line\nB=2\n");
  Configurations configurations;
  configurations.SetConfigMoniker("S");
  try {
    ReadSectionIntoConfigurations("MonitorX", path, "S", configurations, m_log);
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.Number(), kErrInvalidCall);
    EXPECT_NE(error.Description().find("'broken line'"), std::string::npos) << error.Description();
    EXPECT_NE(error.Description().find("Bad.ini"), std::string::npos) << error.Description();
  }
  EXPECT_TRUE(configurations.Exists("A")) << "what was read before stays";
  EXPECT_FALSE(configurations.Exists("B"));
  EXPECT_EQ(testing::ReadLines(path).size(), 4u) << "the file is untouched";
}

TEST_F(SectionReadersTest, LongSectionsAndValuesAndSectionNames) {
  std::string ini = "[First]\n";
  std::string expectedText;
  for (int i = 0; i < 40; ++i) {
    const std::string entry = "Key" + std::to_string(i) + "=" + std::string(45, 'a' + i % 26);
    ini += entry + "\n";
    if (!expectedText.empty()) expectedText.push_back('\0');
    expectedText += entry;
  }
  ini += "[Second]\nLong=" + std::string(3000, 'x') + "\n[Global]\n";
  const std::string path = WriteFile("ModuleConfigs/Long.ini", ini);

  EXPECT_GT(expectedText.size(), 2048u);
  EXPECT_EQ(ReadSectionText(path, "first"), expectedText);
  EXPECT_EQ(ReadSectionText(path, "Absent"), "");
  EXPECT_EQ(GetProfileValue(path, "Second", "Long"), std::string(2047, 'x'));
  EXPECT_EQ(GetProfileValue(path, "Second", "Absent"), "");

  SectionNameArray names;
  EXPECT_TRUE(GetSectionNames(path, names));
  EXPECT_EQ(names, (std::vector<std::string>{"First", "Second", "Global"}));

  SectionNameArray untouched;
  EXPECT_TRUE(GetSectionNames(m_home / "ModuleConfigs/None.ini", untouched));
  EXPECT_FALSE(untouched);
  EXPECT_TRUE(GetSectionNames(WriteFile("ModuleConfigs/Empty.ini", "; nothing\n"), untouched));
  EXPECT_FALSE(untouched);

  // A path that exists but can't be read as a file can't give its sections.
  std::filesystem::create_directories(m_home / "ModuleConfigs/Folder.ini");
  EXPECT_FALSE(GetSectionNames(m_home / "ModuleConfigs/Folder.ini", untouched));
}

}  // namespace
}  // namespace korad
