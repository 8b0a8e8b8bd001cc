// The registry: keys under four hives holding typed values. On Linux a file-backed store
// under the agent's home ("Registry" folder); writes are locked and atomic.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

enum class RegistryHive { ClassesRoot, CurrentUser, LocalMachine, Users };

// Value types, numbered as the host numbers them.
enum RegistryType : uint32_t { REG_SZ = 1, REG_EXPAND_SZ = 2, REG_BINARY = 3, REG_DWORD = 4 };

struct RegistryValue {
  RegistryType type = REG_SZ;
  std::string data;    // text of REG_SZ/REG_EXPAND_SZ (no terminator), bytes of REG_BINARY
  uint32_t dword = 0;  // REG_DWORD

  static RegistryValue String(std::string s, RegistryType t = REG_SZ) { return {t, std::move(s), 0}; }
  static RegistryValue Binary(std::string bytes) { return {REG_BINARY, std::move(bytes), 0}; }
  static RegistryValue Dword(uint32_t v) { return {REG_DWORD, {}, v}; }
  bool operator==(const RegistryValue&) const = default;
};

// "HKEY_LOCAL_MACHINE" and its short form "HKLM", and so on, case-insensitive.
std::optional<RegistryHive> ParseRegistryHive(std::string_view name);
// The long name of a hive: "HKEY_LOCAL_MACHINE", ...
std::string_view RegistryHiveName(RegistryHive hive);

class Registry {
 public:
  virtual ~Registry() = default;
  // Key paths use "\" between names and compare case-insensitively, as do value names.
  // The empty value name is the key's default value.
  virtual bool KeyExists(RegistryHive hive, std::string_view keyPath) = 0;
  virtual std::optional<RegistryValue> QueryValue(RegistryHive hive, std::string_view keyPath,
                                                  std::string_view valueName) = 0;
  // Creates the key and its parents as needed. False on failure.
  virtual bool SetValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                        const RegistryValue& value) = 0;
  virtual bool CreateKey(RegistryHive hive, std::string_view keyPath) = 0;
  virtual bool DeleteValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName) = 0;
  // Deletes the key with its subkeys.
  virtual bool DeleteKey(RegistryHive hive, std::string_view keyPath) = 0;
  // Names in the order they were created; nullopt if the key is missing.
  virtual std::optional<std::vector<std::string>> EnumValueNames(RegistryHive hive, std::string_view keyPath) = 0;
  virtual std::optional<std::vector<std::string>> EnumSubKeys(RegistryHive hive, std::string_view keyPath) = 0;
};

// The store kept in files under `folder` (created as needed).
std::shared_ptr<Registry> MakeFileRegistry(std::string folder);

}  // namespace korad
