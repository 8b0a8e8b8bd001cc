// What readers of configuration do when a platform service fails under them: the agent's
// key file can't be read, or the registry can't be written. All on fakes: an ini file in
// memory, a registry in memory, an encrypter whose key can be made unreadable.
#include <gtest/gtest.h>

#include "foundation/configurations.h"
#include "foundation/macros.h"
#include "foundation/section_readers.h"
#include "platform/platform.h"
#include "platform/registry_api.h"
#include "support/error_number.h"
#include "support/fake_clock.h"
#include "support/fake_encrypter.h"
#include "support/fake_registry.h"
#include "support/memory_file_system.h"

namespace korad {
namespace {

using testing::NumberOf;

class UnavailableServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Platform::Current().SetEncrypter(m_encrypter);
    Platform::Current().SetRegistry(m_registry);
  }
  void TearDown() override {
    Platform::Current().SetRegistry(nullptr);
    Platform::Current().SetEncrypter(nullptr);
  }
  std::string Stored(std::string_view name) {
    return m_registry->QueryValue(RegistryHive::LocalMachine, "Software\\Acme", name).value_or(RegistryValue{}).data;
  }

  testing::ScopedPlatformClock m_clock;
  testing::ScopedFileSystem<> m_files;
  std::shared_ptr<testing::FakeEncrypter> m_encrypter = std::make_shared<testing::FakeEncrypter>();
  std::shared_ptr<testing::FakeRegistry> m_registry = std::make_shared<testing::FakeRegistry>();
};

TEST_F(UnavailableServicesTest, AnUnreadableKeyLeavesConnectStringsPlainAndStopsAtCipherText) {
  const std::string ini = "[Db]\r\nConnectString=Server=db\r\nPassword=" + testing::FakeEncrypter::Marker(3) +
                          "hunter2\r\nAfter=x\r\n";
  m_files->CreateDirectories("/agent/ModuleConfigs");
  m_files->WriteFileAtomic("/agent/ModuleConfigs/Db.ini", ini);
  m_encrypter->keyUnreadable = true;

  Configurations configurations;
  configurations.SetConfigMoniker("Db");
  EXPECT_EQ(NumberOf([&] { ReadSectionIntoConfigurations("M", "/agent/MODULECONFIGS/db.ini", "Db", configurations, nullptr); }),
            kErrPermissionDenied);
  EXPECT_EQ(configurations.Item("ConnectString")->Value(), "Server=db") << "read plain, its migration skipped";
  EXPECT_FALSE(configurations.Exists("After")) << "the read ends at the value it can't decrypt";
  EXPECT_EQ(m_files->ReadFile("/agent/ModuleConfigs/Db.ini"), ini);

  // A registry value asked for encrypted can't be made so: the expansion raises, the value stays.
  m_registry->SetValue(RegistryHive::LocalMachine, "Software\\Acme", "Password", RegistryValue::String("hunter2"));
  Value text("pwd=[?mvRegistry.{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Password]");
  EXPECT_EQ(NumberOf([&] { ExpandMacros(text); }), kErrPermissionDenied);
  EXPECT_EQ(Stored("Password"), "hunter2");

  m_encrypter->keyUnreadable = false;
  ExpandMacros(text);
  EXPECT_EQ(text.ToText(), "pwd=hunter2");
  EXPECT_EQ(Stored("Password"), testing::FakeEncrypter::Marker(4) + "hunter2");
}

TEST_F(UnavailableServicesTest, ARegistryThatCannotBeWrittenFailsTheWriteButNotTheRead) {
  m_registry->SetValue(RegistryHive::LocalMachine, "Software\\Acme", "Password", RegistryValue::String("hunter2"));
  m_registry->writesFail = true;

  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyEx(HKEY_LOCAL_MACHINE, "Software\\Acme", 0, KEY_ALL_ACCESS, &key), ERROR_SUCCESS);
  const char data[] = "new";
  EXPECT_EQ(RegSetValueEx(key, "Other", 0, REG_SZ, reinterpret_cast<const BYTE*>(data), sizeof data), ERROR_WRITE_FAULT);
  RegCloseKey(key);

  std::string path = "{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Password";
  EXPECT_EQ(ReadRegistryValue(path), "hunter2") << "the caller gets the value; only its encryption is lost";
  EXPECT_EQ(Stored("Password"), "hunter2");
  EXPECT_EQ(m_encrypter->encrypted, 1) << "encrypted, then refused by the store";
  EXPECT_FALSE(m_registry->QueryValue(RegistryHive::LocalMachine, "Software\\Acme", "Other"));
}

}  // namespace
}  // namespace korad
