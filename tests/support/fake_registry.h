// A registry held in memory: keys and value names compare ignoring case, names list in
// the order they were made, as the file store keeps them. With `writesFail` set every
// change (SetValue, CreateKey, DeleteValue, DeleteKey) answers false and changes
// nothing, as the file store does when it can't rewrite its hive file.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/registry.h"

namespace korad::testing {

class FakeRegistry final : public Registry {
 public:
  bool writesFail = false;

  bool KeyExists(RegistryHive hive, std::string_view keyPath) override;
  std::optional<RegistryValue> QueryValue(RegistryHive hive, std::string_view keyPath,
                                          std::string_view valueName) override;
  bool SetValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                const RegistryValue& value) override;
  bool CreateKey(RegistryHive hive, std::string_view keyPath) override;
  bool DeleteValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName) override;
  bool DeleteKey(RegistryHive hive, std::string_view keyPath) override;
  std::optional<std::vector<std::string>> EnumValueNames(RegistryHive hive, std::string_view keyPath) override;
  std::optional<std::vector<std::string>> EnumSubKeys(RegistryHive hive, std::string_view keyPath) override;

 private:
  struct Key {
    RegistryHive hive;
    std::string path;  // names joined by "\", as first written
    std::vector<std::pair<std::string, RegistryValue>> values;
  };
  // The caller holds m_mutex.
  Key* Find(RegistryHive hive, std::string_view keyPath);
  Key& FindOrCreate(RegistryHive hive, std::string_view keyPath);

  std::mutex m_mutex;
  std::vector<Key> m_keys;  // in the order they were made; a hive's root is the empty path
};

}  // namespace korad::testing
