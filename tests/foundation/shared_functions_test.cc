// The small shared helpers: sorting, GUIDs, folders and file times.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <set>

#include "contracts/collection.h"
#include "foundation/agent_home_fixture.h"
#include "foundation/clear_collection.h"
#include "foundation/file_functions.h"
#include "foundation/string_functions.h"
#include "platform/scripting_dictionary.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::AgentHomeTest;
using testing::NumberOf;

TEST(SharedStrings, SortIsByByteValueAndSplitTakesTheFirstDot) {
  std::vector<std::string> names = {"b", "a", "Z", "", "B", "a"};
  SortStrings(names);
  EXPECT_EQ(names, (std::vector<std::string>{"", "B", "Z", "a", "a", "b"}));
  std::vector<std::string> empty;
  SortStrings(empty);
  EXPECT_TRUE(empty.empty());

  std::string head = "stale";
  EXPECT_EQ(SplitAtFirstDot("Module.Config.Key", head), "Config.Key");
  EXPECT_EQ(head, "Module");
  EXPECT_EQ(SplitAtFirstDot("NoDot", head), "NoDot");
  EXPECT_EQ(head, "");
}

TEST(SharedStrings, GuidsAreRandomVersionFourInRegistryForm) {
  const std::regex form("\\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\}");
  std::set<std::string> seen;
  for (int i = 0; i < 50; ++i) {
    const std::string guid = CreateGUID();
    EXPECT_TRUE(std::regex_match(guid, form)) << guid;
    seen.insert(guid);
  }
  EXPECT_EQ(seen.size(), 50u);
}

TEST(SharedCollections, ClearCollectionEmptiesWhateverItIsGiven) {
  Collection<int> numbers;
  numbers.Add(1, "a");
  numbers.Add(2, "b");
  ClearCollection(&numbers);
  EXPECT_EQ(numbers.Count(), 0);
  numbers.Add(3, "a");  // keys are free again
  EXPECT_EQ(numbers.Count(), 1);

  auto dictionary = std::make_shared<ScriptingDictionary>();
  dictionary->Add("k", Value(1));
  ClearCollection(dictionary);
  EXPECT_EQ(dictionary->Count(), 0u);

  ClearCollection(static_cast<Collection<int>*>(nullptr));  // nothing there, nothing done
}

class SharedFilesTest : public AgentHomeTest {};

TEST_F(SharedFilesTest, FoldersAreMadeOneLevelAtATime) {
  EnsureFolder(m_home / "Serialize");
  EXPECT_TRUE(std::filesystem::is_directory(m_home / "Serialize"));
  EnsureFolder(m_home / "Serialize");  // there already: nothing happens
  EXPECT_EQ(NumberOf([&] { EnsureFolder(m_home / "A/B"); }), kErrPathNotFound);
  EXPECT_FALSE(std::filesystem::exists(m_home / "A"));

  const std::string file = WriteFile("FileCache/x.bin", "x");
  DeleteFileIfExists(file);
  EXPECT_FALSE(std::filesystem::exists(file));
  DeleteFileIfExists(file);  // gone already: no error
  ClearHiddenAttribute(m_home / "FileCache/.hidden");
  EXPECT_EQ(GetFileVersionText(m_home / "BIN/agent.key"), "");
}

TEST_F(SharedFilesTest, FileTimesAreSetFromLocalTime) {
  const std::string file = WriteFile("FileCache/dated.txt", "x");
  m_clock->SetUtcOffsetMinutes(120);
  EXPECT_TRUE(SetFileDateTime(file, *OleDate::FromCivil(2026, 3, 5, 14, 30, 0)));
  struct stat st {};
  ASSERT_EQ(::stat(file.c_str(), &st), 0);
  EXPECT_EQ(int64_t{st.st_mtime} * 1000, OleDate::FromCivil(2026, 3, 5, 12, 30, 0)->ToUnixMillis());
  EXPECT_EQ(st.st_atime, st.st_mtime) << "the access time is set too";

  try {
    SetFileDateTime(m_home / "FileCache/missing.txt", *OleDate::FromCivil(2026, 3, 5));
    FAIL() << "no error";
  } catch (const Error& error) {
    EXPECT_EQ(error.Number(), kErrFileNotFound);
    EXPECT_EQ(error.Description().rfind("SetFileTime: [53] ", 0), 0u) << error.Description();
    EXPECT_NE(error.Description().find("missing.txt"), std::string::npos) << error.Description();
  }
}

}  // namespace
}  // namespace korad
