#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "platform/registry.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using Names = std::vector<std::string>;
constexpr auto kLM = RegistryHive::LocalMachine;

std::string AllBytes() {
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes.push_back(static_cast<char>(i));
  return bytes;
}

class FileRegistryTest : public ::testing::Test {
 protected:
  std::shared_ptr<Registry> Open() { return MakeFileRegistry(m_temp.Path("Registry")); }
  std::string HiveFile(const char* name) { return m_temp.Path(std::string("Registry/") + name + ".reg"); }

  korad::testing::TempFolder m_temp;
};

TEST_F(FileRegistryTest, EveryTypeAndAwkwardBytesSurviveARestart) {
  const std::string awkward = std::string("a=b;c[d]e%41\r\n", 14) + std::string(1, '\0') + "\xC3\xA9 end";
  const std::vector<std::pair<std::string, RegistryValue>> values = {
      {"Text", RegistryValue::String("C:\\Program Files\\Acme")},
      {"Expand", RegistryValue::String("%HOME%/bin", REG_EXPAND_SZ)},
      {"Blob", RegistryValue::Binary(AllBytes())},
      {"EmptyBlob", RegistryValue::Binary("")},
      {"Count", RegistryValue::Dword(42)},
      {"Max", RegistryValue::Dword(0xFFFFFFFFu)},
      {awkward, RegistryValue::String(awkward)},
      {"", RegistryValue::String("the default")},
  };
  {
    auto registry = Open();
    for (const auto& [name, value] : values) ASSERT_TRUE(registry->SetValue(kLM, "Software\\Acme", name, value));
    ASSERT_TRUE(registry->SetValue(RegistryHive::CurrentUser, "", "AtRoot", RegistryValue::Dword(7)));
  }
  auto reopened = Open();
  for (const auto& [name, value] : values) {
    EXPECT_EQ(reopened->QueryValue(kLM, "Software\\Acme", name), value) << "value " << name;
  }
  EXPECT_EQ(reopened->QueryValue(RegistryHive::CurrentUser, "", "AtRoot"), RegistryValue::Dword(7));
  EXPECT_FALSE(reopened->QueryValue(RegistryHive::Users, "", "AtRoot"));

  // The file is meant for people too: one line per value, readable where the data allows.
  const std::string text = korad::testing::ReadBytes(HiveFile("HKEY_LOCAL_MACHINE"));
  EXPECT_NE(text.find("[Software\\Acme]\n"), std::string::npos);
  EXPECT_NE(text.find("\nText=sz:C:\\Program Files\\Acme\n"), std::string::npos);
  EXPECT_NE(text.find("\nCount=dword:0000002a\n"), std::string::npos);
  EXPECT_NE(text.find("\nExpand=expand_sz:%25HOME%25/bin\n"), std::string::npos);
  EXPECT_EQ(text.find('\r'), std::string::npos);
  EXPECT_EQ(text.find('\0'), std::string::npos);
}

TEST_F(FileRegistryTest, NamesCompareWithoutCaseAndKeepTheirFirstSpelling) {
  auto registry = Open();
  ASSERT_TRUE(registry->SetValue(kLM, "Software\\Acme", "Name", RegistryValue::String("one")));
  ASSERT_TRUE(registry->SetValue(kLM, "SOFTWARE\\acme", "NAME", RegistryValue::String("two")));

  EXPECT_TRUE(registry->KeyExists(kLM, "software\\ACME"));
  EXPECT_EQ(registry->EnumSubKeys(kLM, ""), Names{"Software"});
  EXPECT_EQ(registry->EnumSubKeys(kLM, "software"), Names{"Acme"});
  EXPECT_EQ(registry->EnumValueNames(kLM, "Software\\Acme"), Names{"Name"});
  EXPECT_EQ(registry->QueryValue(kLM, "software\\acme", "name"), RegistryValue::String("two"));
  // Separators at the edges or doubled name the same key.
  EXPECT_EQ(registry->QueryValue(kLM, "\\Software\\\\Acme\\", "Name"), RegistryValue::String("two"));
  EXPECT_FALSE(registry->KeyExists(RegistryHive::CurrentUser, "Software"));
}

TEST_F(FileRegistryTest, EnumerationFollowsCreationOrder) {
  auto registry = Open();
  for (const char* key : {"K\\b", "K\\a", "K\\c"}) ASSERT_TRUE(registry->CreateKey(kLM, key));
  for (const char* name : {"z", "y", "x"}) ASSERT_TRUE(registry->SetValue(kLM, "K", name, RegistryValue::Dword(1)));
  ASSERT_TRUE(registry->SetValue(kLM, "K", "Z", RegistryValue::Dword(2)));  // stays first
  ASSERT_TRUE(registry->DeleteValue(kLM, "K", "y"));
  ASSERT_TRUE(registry->SetValue(kLM, "K", "y", RegistryValue::Dword(3)));  // now last
  ASSERT_TRUE(registry->CreateKey(kLM, "K\\A"));                             // exists: no change

  auto reopened = Open();
  EXPECT_EQ(reopened->EnumSubKeys(kLM, "K"), (Names{"b", "a", "c"}));
  EXPECT_EQ(reopened->EnumValueNames(kLM, "K"), (Names{"z", "x", "y"}));
  EXPECT_EQ(reopened->QueryValue(kLM, "K", "z"), RegistryValue::Dword(2));
  EXPECT_EQ(reopened->EnumValueNames(kLM, "K\\b"), Names{});
  EXPECT_FALSE(reopened->EnumValueNames(kLM, "K\\nope"));
  EXPECT_FALSE(reopened->EnumSubKeys(kLM, "nope"));
}

TEST_F(FileRegistryTest, DeletingAKeyTakesItsSubkeysAndNothingElse) {
  auto registry = Open();
  EXPECT_FALSE(registry->KeyExists(kLM, "A"));
  EXPECT_FALSE(registry->QueryValue(kLM, "A", "v"));
  EXPECT_FALSE(registry->DeleteKey(kLM, "A"));
  EXPECT_FALSE(std::filesystem::exists(m_temp.Path("Registry"))) << "reading a missing store creates nothing";

  ASSERT_TRUE(registry->SetValue(kLM, "A\\B\\C", "v", RegistryValue::Dword(1)));
  ASSERT_TRUE(registry->SetValue(kLM, "A\\B", "v", RegistryValue::Dword(2)));
  ASSERT_TRUE(registry->SetValue(kLM, "A\\D", "v", RegistryValue::Dword(3)));

  EXPECT_TRUE(registry->DeleteKey(kLM, "a\\b"));
  EXPECT_FALSE(registry->KeyExists(kLM, "A\\B"));
  EXPECT_FALSE(registry->KeyExists(kLM, "A\\B\\C"));
  EXPECT_EQ(registry->EnumSubKeys(kLM, "A"), Names{"D"});
  EXPECT_EQ(registry->QueryValue(kLM, "A\\D", "v"), RegistryValue::Dword(3));

  EXPECT_FALSE(registry->DeleteKey(kLM, "A\\B"));
  EXPECT_FALSE(registry->DeleteKey(kLM, ""));  // the hive itself stays
  EXPECT_FALSE(registry->DeleteValue(kLM, "A\\D", "missing"));
  EXPECT_FALSE(registry->DeleteValue(kLM, "A\\missing", "v"));
  EXPECT_TRUE(registry->KeyExists(kLM, ""));
}

TEST_F(FileRegistryTest, ADamagedFileYieldsWhatIsStillLegible) {
  std::filesystem::create_directories(m_temp.Path("Registry"));
  korad::testing::WriteBytes(HiveFile("HKEY_LOCAL_MACHINE"),
                             "[Good]\nA=sz:1\nno equals sign\nB=dword:zz\nE=sz:%4\nU=unknown:1\n"
                             "[Bad\nC=sz:3\n[Good]\r\nD=binary:0a\r\n[Also\\Good]\nF=sz:%41");
  auto registry = Open();
  EXPECT_EQ(registry->EnumValueNames(kLM, "Good"), (Names{"A", "D"}));
  EXPECT_EQ(registry->QueryValue(kLM, "Good", "D"), RegistryValue::Binary("\n"));
  EXPECT_EQ(registry->QueryValue(kLM, "Also\\Good", "F"), RegistryValue::String("A"));

  // The next write keeps what was legible and drops the rest.
  ASSERT_TRUE(registry->SetValue(kLM, "Good", "G", RegistryValue::Dword(5)));
  EXPECT_EQ(Open()->EnumValueNames(kLM, "Good"), (Names{"A", "D", "G"}));
}

// Each writer adds its own values to one key; every value must be there at the end, and a
// reader watching meanwhile must never see the count drop (a lost or half-written update).
TEST_F(FileRegistryTest, ConcurrentProcessesAndThreadsLoseNothing) {
  constexpr int kWriters = 2;
  constexpr int kEach = 100;
  std::vector<pid_t> children;
  for (int w = 0; w < kWriters; ++w) {
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      auto registry = Open();
      bool ok = true;
      for (int i = 0; i < kEach; ++i) {
        ok &= registry->SetValue(kLM, "Shared", "w" + std::to_string(w) + "_" + std::to_string(i),
                                 RegistryValue::Dword(static_cast<uint32_t>(w * 1000 + i)));
      }
      ::_exit(ok ? 0 : 1);
    }
    children.push_back(pid);
  }

  // Threads of this process must exclude each other as the processes do.
  auto threadWriter = [this](char tag) {
    auto registry = Open();
    for (int i = 0; i < 30; ++i) registry->SetValue(kLM, "Threads", tag + std::to_string(i), RegistryValue::Dword(i));
  };
  std::thread first(threadWriter, 'a');
  std::thread second(threadWriter, 'b');
  auto watcher = Open();
  size_t lastSeen = 0;
  int running = kWriters;
  while (running > 0) {
    auto names = watcher->EnumValueNames(kLM, "Shared");
    const size_t seen = names ? names->size() : 0;
    EXPECT_GE(seen, lastSeen);
    lastSeen = seen;
    running = 0;
    for (pid_t pid : children) {
      if (::waitpid(pid, nullptr, WNOHANG) == 0) ++running;
    }
  }
  for (pid_t pid : children) ::waitpid(pid, nullptr, 0);
  first.join();
  second.join();

  auto registry = Open();
  EXPECT_EQ(registry->EnumValueNames(kLM, "Threads")->size(), 60u);
  ASSERT_EQ(registry->EnumValueNames(kLM, "Shared")->size(), static_cast<size_t>(kWriters * kEach));
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kEach; ++i) {
      EXPECT_EQ(registry->QueryValue(kLM, "Shared", "w" + std::to_string(w) + "_" + std::to_string(i)),
                RegistryValue::Dword(static_cast<uint32_t>(w * 1000 + i)));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(HiveFile("HKEY_LOCAL_MACHINE") + ".tmp"));
}

TEST(RegistryHiveNames, LongAndShortFormsWithoutCase) {
  const std::pair<const char*, RegistryHive> names[] = {
      {"HKEY_LOCAL_MACHINE", kLM}, {"hklm", kLM}, {"Hkey_Current_User", RegistryHive::CurrentUser},
      {"HKCR", RegistryHive::ClassesRoot}, {"HKEY_USERS", RegistryHive::Users}};
  for (const auto& [name, hive] : names) EXPECT_EQ(ParseRegistryHive(name), hive) << name;
  EXPECT_FALSE(ParseRegistryHive("HKEY_LOCAL_MACHINE\\"));
  EXPECT_FALSE(ParseRegistryHive(""));
  EXPECT_EQ(RegistryHiveName(RegistryHive::ClassesRoot), "HKEY_CLASSES_ROOT");
}

}  // namespace
}  // namespace korad
