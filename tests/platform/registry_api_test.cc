// The Win32-shaped registry calls as ported code uses them: size first, then data.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "platform/platform.h"
#include "platform/registry_api.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

const BYTE* Bytes(const std::string& s) { return reinterpret_cast<const BYTE*>(s.data()); }

class RegistryApiTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_registry = MakeFileRegistry(m_temp.Path("Registry"));
    Platform::Current().SetRegistry(m_registry);
    ASSERT_TRUE(m_registry->CreateKey(RegistryHive::LocalMachine, "Software\\Acme"));
  }
  void TearDown() override { Platform::Current().SetRegistry(nullptr); }

  HKEY OpenAcme(REGSAM access) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyEx(HKEY_LOCAL_MACHINE, "Software\\Acme", 0, access, &key), ERROR_SUCCESS);
    return key;
  }

  // The two-call protocol: ask the size, then fetch into a buffer of that size.
  std::string Query(HKEY key, const char* name, DWORD* type) {
    DWORD size = 0;
    EXPECT_EQ(RegQueryValueEx(key, name, nullptr, type, nullptr, &size), ERROR_SUCCESS);
    std::string data(size, '\x7f');
    EXPECT_EQ(RegQueryValueEx(key, name, nullptr, type, reinterpret_cast<BYTE*>(data.data()), &size), ERROR_SUCCESS);
    EXPECT_EQ(size, data.size());
    return data;
  }

  korad::testing::TempFolder m_temp;
  std::shared_ptr<Registry> m_registry;
};

TEST_F(RegistryApiTest, ValuesOfEachTypeRoundTripWithTheSizeProtocol) {
  HKEY key = OpenAcme(KEY_ALL_ACCESS);
  const std::string text("hello", 6);  // with its NUL, as callers write strings
  const std::string blob("a\0b\nc", 5);
  const BYTE dword[4] = {0x78, 0x56, 0x34, 0x12};
  ASSERT_EQ(RegSetValueEx(key, "Text", 0, REG_SZ, Bytes(text), 6), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueEx(key, "Path", 0, REG_EXPAND_SZ, Bytes(std::string("%X%")), 3), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueEx(key, "Blob", 0, REG_BINARY, Bytes(blob), 5), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueEx(key, "Num", 0, REG_DWORD, dword, 4), ERROR_SUCCESS);

  // What the store holds is the plain value, whatever the call's byte shape.
  EXPECT_EQ(m_registry->QueryValue(RegistryHive::LocalMachine, "Software\\Acme", "Text"), RegistryValue::String("hello"));
  EXPECT_EQ(m_registry->QueryValue(RegistryHive::LocalMachine, "Software\\Acme", "Num"), RegistryValue::Dword(0x12345678));

  DWORD type = 0;
  EXPECT_EQ(Query(key, "Text", &type), std::string("hello", 6));
  EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
  EXPECT_EQ(Query(key, "Path", &type), std::string("%X%", 4));
  EXPECT_EQ(type, static_cast<DWORD>(REG_EXPAND_SZ));
  EXPECT_EQ(Query(key, "Blob", &type), blob);
  EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
  EXPECT_EQ(Query(key, "Num", &type), std::string("\x78\x56\x34\x12", 4));
  EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));

  // A buffer one byte short: more data, and the size needed.
  char small[5];
  DWORD size = sizeof small;
  EXPECT_EQ(RegQueryValueEx(key, "Text", nullptr, nullptr, reinterpret_cast<BYTE*>(small), &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 6u);

  EXPECT_EQ(RegQueryValueEx(key, "Missing", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegSetValueEx(key, "Bad", 0, REG_DWORD, dword, 3), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegSetValueEx(key, "Multi", 0, 7, Bytes(text), 6), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

TEST_F(RegistryApiTest, HandlesAndAccessRights) {
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyEx(HKEY_LOCAL_MACHINE, "Software\\Nope", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyEx(HKEY_CURRENT_USER, "Software\\Acme", 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);

  HKEY software = nullptr;
  ASSERT_EQ(RegOpenKeyEx(HKEY_LOCAL_MACHINE, "SOFTWARE", 0, KEY_READ, &software), ERROR_SUCCESS);
  HKEY acme = nullptr;
  ASSERT_EQ(RegOpenKeyEx(software, "acme", 0, KEY_SET_VALUE, &acme), ERROR_SUCCESS);  // relative to a handle
  EXPECT_EQ(RegSetValueEx(acme, "v", 0, REG_SZ, Bytes(std::string("x")), 1), ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_EQ(RegQueryValueEx(acme, "v", nullptr, nullptr, nullptr, &size), ERROR_ACCESS_DENIED);

  HKEY reader = OpenAcme(KEY_READ);
  EXPECT_EQ(RegQueryValueEx(reader, "v", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(RegSetValueEx(reader, "v", 0, REG_SZ, Bytes(std::string("y")), 1), ERROR_ACCESS_DENIED);

  for (HKEY open : {software, acme, reader}) EXPECT_EQ(RegCloseKey(open), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(acme), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegQueryValueEx(acme, "v", nullptr, nullptr, nullptr, &size), ERROR_INVALID_HANDLE);
  EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), ERROR_SUCCESS);
}

TEST_F(RegistryApiTest, EnumerationAndKeyInformation) {
  HKEY key = OpenAcme(KEY_ALL_ACCESS);
  ASSERT_TRUE(m_registry->CreateKey(RegistryHive::LocalMachine, "Software\\Acme\\Second"));
  ASSERT_TRUE(m_registry->CreateKey(RegistryHive::LocalMachine, "Software\\Acme\\First key"));
  ASSERT_EQ(RegSetValueEx(key, "Long name", 0, REG_SZ, Bytes(std::string("0123456789")), 10), ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueEx(key, "B", 0, REG_BINARY, Bytes(std::string(3, '\0')), 3), ERROR_SUCCESS);

  DWORD subKeys = 0, maxSubKey = 0, values = 0, maxName = 0, maxData = 0;
  ASSERT_EQ(RegQueryInfoKey(key, nullptr, nullptr, nullptr, &subKeys, &maxSubKey, nullptr, &values, &maxName,
                            &maxData, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 2u);
  EXPECT_EQ(maxSubKey, 9u);  // "First key"
  EXPECT_EQ(values, 2u);
  EXPECT_EQ(maxName, 9u);    // "Long name"
  EXPECT_EQ(maxData, 11u);   // ten characters and the NUL

  // Buffers sized from the information fit every entry.
  std::string listed;
  for (DWORD i = 0;; ++i) {
    char name[16];
    DWORD nameChars = maxName + 1;
    DWORD type = 0;
    BYTE data[16];
    DWORD dataSize = maxData;
    LONG status = RegEnumValue(key, i, name, &nameChars, nullptr, &type, data, &dataSize);
    if (status == ERROR_NO_MORE_ITEMS) break;
    ASSERT_EQ(status, ERROR_SUCCESS);
    EXPECT_EQ(nameChars, std::strlen(name));
    listed += std::string(name) + ":" + std::to_string(type) + ":" + std::to_string(dataSize) + ";";
  }
  EXPECT_EQ(listed, "Long name:1:11;B:3:3;");

  for (DWORD i = 0;; ++i) {
    char name[16];
    DWORD nameChars = maxSubKey + 1;
    LONG status = RegEnumKeyEx(key, i, name, &nameChars, nullptr, nullptr, nullptr, nullptr);
    if (status == ERROR_NO_MORE_ITEMS) break;
    ASSERT_EQ(status, ERROR_SUCCESS);
    listed += std::string(name) + ";";
  }
  EXPECT_EQ(listed, "Long name:1:11;B:3:3;Second;First key;");

  char tiny[4];
  DWORD tinyChars = sizeof tiny;
  EXPECT_EQ(RegEnumValue(key, 0, tiny, &tinyChars, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(RegEnumKeyEx(key, 0, tiny, &tinyChars, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
}

}  // namespace
}  // namespace korad
