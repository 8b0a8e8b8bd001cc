// One hive of the file-backed registry in memory, and its text form on disk.
//
// The text form is one file per hive, meant to be read by a person:
//
//   ; korad registry hive 1
//   []                               values of the hive's root, if any
//   =sz:default value of the root
//   [Software]
//   [Software\Acme]
//   Install Dir=sz:/opt/acme
//   Path=expand_sz:%25HOME%25/bin
//   Blob=binary:00ff0a3d
//   Count=dword:0000002a
//
// Every key has its own section, written parent first, so empty keys survive and each
// key's subkeys and values keep the order they were created in. Lines starting with
// ";" are comments. A value line is `name=type:data`; the empty name is the default
// value. Escapes are "%" and two hex digits: data escapes control bytes, DEL and "%";
// names additionally escape "=", "[", "]" and ";". Every other byte is written as is,
// so any byte string round-trips and a line is never split by the data it holds.
// A line that can't be read is skipped: a damaged file yields what is still legible.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/registry.h"

namespace korad {

// A key: its name as first spelt, its values and subkeys in creation order. Names
// compare without regard to ASCII case.
struct HiveKey {
  std::string name;
  std::vector<std::pair<std::string, RegistryValue>> values;
  std::vector<std::unique_ptr<HiveKey>> subKeys;

  HiveKey* FindSubKey(std::string_view keyName);
  HiveKey& SubKeyOrAdd(std::string_view keyName);
  bool RemoveSubKey(std::string_view keyName);
  const RegistryValue* FindValue(std::string_view valueName) const;
  // Replaces the value's data in place (keeping its name's spelling and position) or appends it.
  void SetValue(std::string_view valueName, const RegistryValue& value);
  bool RemoveValue(std::string_view valueName);
};

// The key at `keyPath` under `root`, or null.
HiveKey* FindKey(HiveKey& root, std::string_view keyPath);
// The key at `keyPath`, created with its parents as needed.
HiveKey& FindOrCreateKey(HiveKey& root, std::string_view keyPath);

std::string SerializeHive(const HiveKey& root);
HiveKey ParseHive(std::string_view text);

}  // namespace korad
