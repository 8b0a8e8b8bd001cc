// The registry kept in files: one text file per hive (see registry_hive.h for the form),
// "<folder>/HKEY_LOCAL_MACHINE.reg" and so on. A writer holds an exclusive lock on the
// hive's sidecar "<hive>.lock" while it reads, changes and rewrites the file through a
// temporary file and a rename; readers take no lock, as a rename never shows them a
// half-written file. Several processes may share one folder.
#include <functional>
#include <string>
#include <utility>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/linux/locked_file.h"
#include "platform/linux/registry_hive.h"
#include "platform/registry.h"

namespace korad {
namespace {

// What an edit did to the hive: only a change is written back.
enum class Edit { kUnchanged, kChanged, kRefused };

class FileRegistry final : public Registry {
 public:
  explicit FileRegistry(std::string folder) : m_folder(std::move(folder)) {
    while (m_folder.size() > 1 && m_folder.back() == '/') m_folder.pop_back();
  }

  bool KeyExists(RegistryHive hive, std::string_view keyPath) override {
    return Read(hive, [&](HiveKey& root) { return FindKey(root, keyPath) != nullptr; });
  }

  std::optional<RegistryValue> QueryValue(RegistryHive hive, std::string_view keyPath,
                                          std::string_view valueName) override {
    return Read(hive, [&](HiveKey& root) -> std::optional<RegistryValue> {
      const HiveKey* key = FindKey(root, keyPath);
      const RegistryValue* value = key ? key->FindValue(valueName) : nullptr;
      if (!value) return std::nullopt;
      return *value;
    });
  }

  bool SetValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName,
                const RegistryValue& value) override {
    return Modify(hive, [&](HiveKey& root) {
      HiveKey& key = FindOrCreateKey(root, keyPath);
      const RegistryValue* held = key.FindValue(valueName);
      if (held && *held == value) return Edit::kUnchanged;
      key.SetValue(valueName, value);
      return Edit::kChanged;
    });
  }

  bool CreateKey(RegistryHive hive, std::string_view keyPath) override {
    return Modify(hive, [&](HiveKey& root) {
      if (FindKey(root, keyPath)) return Edit::kUnchanged;
      FindOrCreateKey(root, keyPath);
      return Edit::kChanged;
    });
  }

  bool DeleteValue(RegistryHive hive, std::string_view keyPath, std::string_view valueName) override {
    if (!QueryValue(hive, keyPath, valueName)) return false;  // no lock, no folder for a no-op
    return Modify(hive, [&](HiveKey& root) {
      HiveKey* key = FindKey(root, keyPath);
      return key && key->RemoveValue(valueName) ? Edit::kChanged : Edit::kRefused;
    });
  }

  bool DeleteKey(RegistryHive hive, std::string_view keyPath) override {
    auto names = SplitNonEmpty(keyPath, '\\');
    if (names.empty() || !KeyExists(hive, keyPath)) return false;  // the hive's root stays
    return Modify(hive, [&](HiveKey& root) {
      std::string_view parentPath = keyPath.substr(0, names.back().data() - keyPath.data());
      HiveKey* parent = FindKey(root, parentPath);
      return parent && parent->RemoveSubKey(names.back()) ? Edit::kChanged : Edit::kRefused;
    });
  }

  std::optional<std::vector<std::string>> EnumValueNames(RegistryHive hive, std::string_view keyPath) override {
    using Names = std::optional<std::vector<std::string>>;
    return Read(hive, [&](HiveKey& root) -> Names {
      const HiveKey* key = FindKey(root, keyPath);
      if (!key) return std::nullopt;
      std::vector<std::string> names;
      for (const auto& entry : key->values) names.push_back(entry.first);
      return names;
    });
  }

  std::optional<std::vector<std::string>> EnumSubKeys(RegistryHive hive, std::string_view keyPath) override {
    using Names = std::optional<std::vector<std::string>>;
    return Read(hive, [&](HiveKey& root) -> Names {
      const HiveKey* key = FindKey(root, keyPath);
      if (!key) return std::nullopt;
      std::vector<std::string> names;
      for (const auto& sub : key->subKeys) names.push_back(sub->name);
      return names;
    });
  }

 private:
  std::string HivePath(RegistryHive hive, std::string_view suffix) const {
    return m_folder + "/" + std::string(RegistryHiveName(hive)) + std::string(suffix);
  }

  HiveKey Load(RegistryHive hive) const {
    auto text = locked_file::ReadIfExists(HivePath(hive, ".reg"));
    return text ? ParseHive(*text) : HiveKey();
  }

  // The interface answers in values, not errors: an unreadable hive reads as empty,
  // and the query's answer is then its type's empty value (false, nullopt).
  template <class F>
  auto Read(RegistryHive hive, F&& query) const -> decltype(query(std::declval<HiveKey&>())) {
    try {
      HiveKey root = Load(hive);
      return query(root);
    } catch (const Error&) {
      return {};
    }
  }

  bool Modify(RegistryHive hive, const std::function<Edit(HiveKey&)>& edit) {
    try {
      locked_file::CreateDirectories(m_folder);
      locked_file::ExclusiveLock lock(HivePath(hive, ".lock"));
      HiveKey root = Load(hive);
      const Edit result = edit(root);
      if (result == Edit::kChanged) {
        locked_file::ReplaceFile(HivePath(hive, ".reg"), HivePath(hive, ".reg.tmp"), SerializeHive(root));
      }
      return result != Edit::kRefused;
    } catch (const Error&) {
      return false;
    }
  }

  std::string m_folder;
};

}  // namespace

std::shared_ptr<Registry> MakeFileRegistry(std::string folder) {
  return std::make_shared<FileRegistry>(std::move(folder));
}

}  // namespace korad
