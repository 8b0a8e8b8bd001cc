#include "support/fake_registry.h"

#include <algorithm>

#include "contracts/text.h"

namespace korad::testing {
namespace {

// "Software\\Acme\\" and "\\software\\acme" name one key.
std::string KeyOf(std::string_view path) {
  std::string key;
  for (std::string_view name : SplitNonEmpty(path, '\\')) {
    if (!key.empty()) key.push_back('\\');
    key.append(name);
  }
  return key;
}

bool SameName(std::string_view a, std::string_view b) { return LowerAscii(a) == LowerAscii(b); }

// The path of the key's parent, or nullopt for a hive's root.
std::optional<std::string> ParentOf(const std::string& path) {
  if (path.empty()) return std::nullopt;
  const size_t slash = path.rfind('\\');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

}  // namespace

FakeRegistry::Key* FakeRegistry::Find(RegistryHive hive, std::string_view keyPath) {
  const std::string wanted = KeyOf(keyPath);
  for (Key& key : m_keys) {
    if (key.hive == hive && SameName(key.path, wanted)) return &key;
  }
  // A hive's root is always there.
  return wanted.empty() ? &m_keys.emplace_back(Key{hive, {}, {}}) : nullptr;
}

FakeRegistry::Key& FakeRegistry::FindOrCreate(RegistryHive hive, std::string_view keyPath) {
  const std::string path = KeyOf(keyPath);
  if (Key* key = Find(hive, path)) return *key;
  FindOrCreate(hive, *ParentOf(path));
  return m_keys.emplace_back(Key{hive, path, {}});
}

bool FakeRegistry::KeyExists(RegistryHive hive, std::string_view keyPath) {
  std::lock_guard lock(m_mutex);
  return Find(hive, keyPath) != nullptr;
}

std::optional<RegistryValue> FakeRegistry::QueryValue(RegistryHive hive, std::string_view keyPath,
                                                      std::string_view valueName) {
  std::lock_guard lock(m_mutex);
  const Key* key = Find(hive, keyPath);
  if (!key) return std::nullopt;
  for (const auto& [name, value] : key->values) {
    if (SameName(name, valueName)) return value;
  }
  return std::nullopt;
}

bool FakeRegistry::SetValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                            const RegistryValue& value) {
  std::lock_guard lock(m_mutex);
  if (writesFail) return false;
  Key& key = FindOrCreate(hive, keyPath);
  for (auto& [name, held] : key.values) {
    if (SameName(name, valueName)) {
      held = value;
      return true;
    }
  }
  key.values.emplace_back(std::string(valueName), value);
  return true;
}

bool FakeRegistry::CreateKey(RegistryHive hive, std::string_view keyPath) {
  std::lock_guard lock(m_mutex);
  if (writesFail) return false;
  FindOrCreate(hive, keyPath);
  return true;
}

bool FakeRegistry::DeleteValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName) {
  std::lock_guard lock(m_mutex);
  Key* key = Find(hive, keyPath);
  if (writesFail || !key) return false;
  const auto erased = std::erase_if(key->values, [&](const auto& entry) { return SameName(entry.first, valueName); });
  return erased > 0;
}

bool FakeRegistry::DeleteKey(RegistryHive hive, std::string_view keyPath) {
  std::lock_guard lock(m_mutex);
  const std::string path = LowerAscii(KeyOf(keyPath));
  if (writesFail || path.empty() || !Find(hive, path)) return false;
  std::erase_if(m_keys, [&](const Key& key) {
    const std::string lower = LowerAscii(key.path);
    return key.hive == hive && (lower == path || lower.starts_with(path + "\\"));
  });
  return true;
}

std::optional<std::vector<std::string>> FakeRegistry::EnumValueNames(RegistryHive hive, std::string_view keyPath) {
  std::lock_guard lock(m_mutex);
  const Key* key = Find(hive, keyPath);
  if (!key) return std::nullopt;
  std::vector<std::string> names;
  for (const auto& entry : key->values) names.push_back(entry.first);
  return names;
}

std::optional<std::vector<std::string>> FakeRegistry::EnumSubKeys(RegistryHive hive, std::string_view keyPath) {
  std::lock_guard lock(m_mutex);
  const Key* parent = Find(hive, keyPath);
  if (!parent) return std::nullopt;
  const std::string parentPath = parent->path;
  std::vector<std::string> names;
  for (const Key& key : m_keys) {
    const std::optional<std::string> above = ParentOf(key.path);
    if (key.hive == hive && above && SameName(*above, parentPath)) {
      names.push_back(key.path.substr(key.path.rfind('\\') + 1));
    }
  }
  return names;
}

}  // namespace korad::testing
