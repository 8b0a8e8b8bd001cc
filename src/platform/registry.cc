#include "platform/registry.h"

#include "contracts/text.h"

namespace korad {
namespace {

struct HiveNames {
  RegistryHive hive;
  std::string_view longName;
  std::string_view shortName;
};
constexpr HiveNames kHiveNames[] = {
    {RegistryHive::ClassesRoot, "HKEY_CLASSES_ROOT", "HKCR"},
    {RegistryHive::CurrentUser, "HKEY_CURRENT_USER", "HKCU"},
    {RegistryHive::LocalMachine, "HKEY_LOCAL_MACHINE", "HKLM"},
    {RegistryHive::Users, "HKEY_USERS", "HKU"},
};

}  // namespace

std::optional<RegistryHive> ParseRegistryHive(std::string_view name) {
  for (const auto& names : kHiveNames) {
    if (EqualsNoCase(name, names.longName) || EqualsNoCase(name, names.shortName)) return names.hive;
  }
  return std::nullopt;
}

std::string_view RegistryHiveName(RegistryHive hive) {
  for (const auto& names : kHiveNames) {
    if (names.hive == hive) return names.longName;
  }
  return {};
}

}  // namespace korad
