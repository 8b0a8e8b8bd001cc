#include "platform/linux/registry_hive.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "contracts/text.h"

namespace korad {
namespace {

constexpr std::string_view kHeader = "; korad registry hive 1\n";
constexpr char kHexDigits[] = "0123456789abcdef";

struct TypeTag {
  RegistryType type;
  std::string_view tag;
};
constexpr TypeTag kTypeTags[] = {
    {REG_SZ, "sz"}, {REG_EXPAND_SZ, "expand_sz"}, {REG_BINARY, "binary"}, {REG_DWORD, "dword"}};

bool NeedsEscape(unsigned char c, bool isName) {
  if (c < 0x20 || c == 0x7F || c == '%') return true;
  return isName && (c == '=' || c == '[' || c == ']' || c == ';');
}

void AppendHexByte(std::string& out, unsigned char c) {
  out.push_back(kHexDigits[c >> 4]);
  out.push_back(kHexDigits[c & 0xF]);
}

void AppendEscaped(std::string& out, std::string_view text, bool isName) {
  for (char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    if (NeedsEscape(c, isName)) {
      out.push_back('%');
      AppendHexByte(out, c);
    } else {
      out.push_back(ch);
    }
  }
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::optional<std::string> Unescape(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      out.push_back(text[i]);
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const int hi = HexValue(text[i + 1]);
    const int lo = HexValue(text[i + 2]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out.push_back(static_cast<char>(hi * 16 + lo));
    i += 2;
  }
  return out;
}

std::optional<std::string> HexBytes(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  std::string out;
  out.reserve(text.size() / 2);
  for (size_t i = 0; i < text.size(); i += 2) {
    const int hi = HexValue(text[i]);
    const int lo = HexValue(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    out.push_back(static_cast<char>(hi * 16 + lo));
  }
  return out;
}

std::string FormatData(const RegistryValue& value) {
  std::string out;
  switch (value.type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      AppendEscaped(out, value.data, false);
      break;
    case REG_BINARY:
      for (char c : value.data) AppendHexByte(out, static_cast<unsigned char>(c));
      break;
    case REG_DWORD:
      for (int shift = 24; shift >= 0; shift -= 8) AppendHexByte(out, (value.dword >> shift) & 0xFF);
      break;
  }
  return out;
}

std::optional<RegistryValue> ParseData(std::string_view tag, std::string_view data) {
  const auto* known = std::find_if(std::begin(kTypeTags), std::end(kTypeTags),
                                   [&](const TypeTag& t) { return t.tag == tag; });
  if (known == std::end(kTypeTags)) return std::nullopt;
  switch (known->type) {
    case REG_SZ:
    case REG_EXPAND_SZ: {
      auto text = Unescape(data);
      if (!text) return std::nullopt;
      return RegistryValue::String(std::move(*text), known->type);
    }
    case REG_BINARY: {
      auto bytes = HexBytes(data);
      if (!bytes) return std::nullopt;
      return RegistryValue::Binary(std::move(*bytes));
    }
    case REG_DWORD: {
      auto bytes = HexBytes(data);
      if (!bytes || bytes->size() != 4) return std::nullopt;
      uint32_t v = 0;
      for (char c : *bytes) v = (v << 8) | static_cast<unsigned char>(c);
      return RegistryValue::Dword(v);
    }
  }
  return std::nullopt;
}

std::string_view TagOf(RegistryType type) {
  for (const auto& t : kTypeTags) {
    if (t.type == type) return t.tag;
  }
  return "sz";
}

void SerializeKey(const HiveKey& key, const std::string& path, bool isRoot, std::string& out) {
  if (!isRoot || !key.values.empty()) {
    out += '[';
    out += path;
    out += "]\n";
  }
  for (const auto& [name, value] : key.values) {
    AppendEscaped(out, name, true);
    out += '=';
    out += TagOf(value.type);
    out += ':';
    out += FormatData(value);
    out += '\n';
  }
  for (const auto& sub : key.subKeys) {
    std::string subPath = path;
    if (!isRoot) subPath += '\\';
    AppendEscaped(subPath, sub->name, true);
    SerializeKey(*sub, subPath, false, out);
  }
}

// The key a section line names, created as needed; null for a section that can't be read.
HiveKey* SectionKey(HiveKey& root, std::string_view inner) {
  HiveKey* key = &root;
  for (std::string_view escaped : SplitNonEmpty(inner, '\\')) {
    auto name = Unescape(escaped);
    if (!name) return nullptr;
    key = &key->SubKeyOrAdd(*name);
  }
  return key;
}

}  // namespace

HiveKey* HiveKey::FindSubKey(std::string_view keyName) {
  for (auto& sub : subKeys) {
    if (EqualsNoCase(sub->name, keyName)) return sub.get();
  }
  return nullptr;
}

HiveKey& HiveKey::SubKeyOrAdd(std::string_view keyName) {
  if (HiveKey* found = FindSubKey(keyName)) return *found;
  auto added = std::make_unique<HiveKey>();
  added->name = std::string(keyName);
  subKeys.push_back(std::move(added));
  return *subKeys.back();
}

bool HiveKey::RemoveSubKey(std::string_view keyName) {
  auto it = std::find_if(subKeys.begin(), subKeys.end(),
                         [&](const auto& sub) { return EqualsNoCase(sub->name, keyName); });
  if (it == subKeys.end()) return false;
  subKeys.erase(it);
  return true;
}

const RegistryValue* HiveKey::FindValue(std::string_view valueName) const {
  for (const auto& [name, value] : values) {
    if (EqualsNoCase(name, valueName)) return &value;
  }
  return nullptr;
}

void HiveKey::SetValue(std::string_view valueName, const RegistryValue& value) {
  for (auto& [name, held] : values) {
    if (EqualsNoCase(name, valueName)) {
      held = value;
      return;
    }
  }
  values.emplace_back(std::string(valueName), value);
}

bool HiveKey::RemoveValue(std::string_view valueName) {
  auto it = std::find_if(values.begin(), values.end(),
                         [&](const auto& entry) { return EqualsNoCase(entry.first, valueName); });
  if (it == values.end()) return false;
  values.erase(it);
  return true;
}


HiveKey* FindKey(HiveKey& root, std::string_view keyPath) {
  HiveKey* key = &root;
  for (std::string_view name : SplitNonEmpty(keyPath, '\\')) {
    key = key->FindSubKey(name);
    if (!key) return nullptr;
  }
  return key;
}

HiveKey& FindOrCreateKey(HiveKey& root, std::string_view keyPath) {
  HiveKey* key = &root;
  for (std::string_view name : SplitNonEmpty(keyPath, '\\')) key = &key->SubKeyOrAdd(name);
  return *key;
}

std::string SerializeHive(const HiveKey& root) {
  std::string out(kHeader);
  SerializeKey(root, "", true, out);
  return out;
}

HiveKey ParseHive(std::string_view text) {
  HiveKey root;
  HiveKey* current = &root;  // value lines ahead of any section belong to the root
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    // Raw carriage returns are never written, so one here came from an editor.
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == ';') continue;
    if (line.front() == '[') {
      // A section that can't be read hides its values rather than filing them elsewhere.
      current = line.back() == ']' && line.size() >= 2 ? SectionKey(root, line.substr(1, line.size() - 2))
                                                       : nullptr;
      continue;
    }
    if (!current) continue;
    const size_t eq = line.find('=');
    const size_t colon = eq == std::string_view::npos ? eq : line.find(':', eq + 1);
    if (colon == std::string_view::npos) continue;
    auto name = Unescape(line.substr(0, eq));
    auto value = ParseData(line.substr(eq + 1, colon - eq - 1), line.substr(colon + 1));
    if (name && value) current->SetValue(*name, *value);
  }
  return root;
}

}  // namespace korad
