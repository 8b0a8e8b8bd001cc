// ReadRegistryValue (declared in macros.h): the registry reader behind [?mvRegistry.].
#include <cstring>
#include <string>
#include <vector>

#include "contracts/text.h"
#include "foundation/macros.h"
#include "platform/encrypter.h"
#include "platform/platform.h"
#include "platform/registry_api.h"

namespace korad {
namespace {

constexpr std::string_view kEncryptPrefix = "{Encrypt}";
constexpr std::string_view kCargoMarker = "{mvCargo";
constexpr int kRegistryScheme = 4;

// Only the four long names; anything else is no handle at all, so the open fails.
HKEY HiveHandle(std::string_view name) {
  const std::string upper = UpperAscii(name);
  if (upper == "HKEY_LOCAL_MACHINE") return HKEY_LOCAL_MACHINE;
  if (upper == "HKEY_CURRENT_USER") return HKEY_CURRENT_USER;
  if (upper == "HKEY_CLASSES_ROOT") return HKEY_CLASSES_ROOT;
  if (upper == "HKEY_USERS") return HKEY_USERS;
  return nullptr;
}

// Closes the key whatever way the reader leaves, encrypter errors included.
class OpenRegistryKey {
 public:
  OpenRegistryKey(HKEY hive, const std::string& subKey, REGSAM access) {
    if (RegOpenKeyEx(hive, subKey.c_str(), 0, access, &m_key) != ERROR_SUCCESS) m_key = nullptr;
  }
  ~OpenRegistryKey() { Close(); }
  OpenRegistryKey(const OpenRegistryKey&) = delete;
  OpenRegistryKey& operator=(const OpenRegistryKey&) = delete;

  bool IsOpen() const { return m_key != nullptr; }
  HKEY Get() const { return m_key; }
  void Close() {
    if (m_key) RegCloseKey(m_key);
    m_key = nullptr;
  }

 private:
  HKEY m_key = nullptr;
};

struct StoredValue {
  bool read = false;  // a string or 32-bit value was found
  DWORD type = 0;
  std::string text;
};

StoredValue QueryValue(const OpenRegistryKey& key, const std::string& name) {
  StoredValue value;
  DWORD type = 0;
  DWORD size = 0;
  if (RegQueryValueEx(key.Get(), name.c_str(), nullptr, &type, nullptr, &size) != ERROR_SUCCESS) return value;
  if (type != REG_SZ && type != REG_DWORD) return value;
  std::vector<BYTE> data(size);
  if (RegQueryValueEx(key.Get(), name.c_str(), nullptr, &type, data.data(), &size) != ERROR_SUCCESS) {
    return value;
  }
  value.type = type;
  if (type == REG_SZ) {
    value.text.assign(reinterpret_cast<const char*>(data.data()), size);
    if (!value.text.empty() && value.text.back() == '\0') value.text.pop_back();
  } else {
    if (size != 4) return value;
    uint32_t raw = 0;
    std::memcpy(&raw, data.data(), 4);
    value.text = std::to_string(static_cast<int32_t>(raw));
  }
  value.read = true;
  return value;
}

// Removes the first "{mvCargo...}". A marker without its "}" counts as ending at 0, so
// the whole text follows the head again: values written that way are read that way.
std::string WithoutCargoMarker(const std::string& text) {
  const size_t marker = text.find(kCargoMarker);
  if (marker == std::string::npos) return text;
  const size_t close = text.find('}', marker + kCargoMarker.size());
  const std::string rest = close == std::string::npos ? text : text.substr(close + 1);
  return marker == 0 ? rest : text.substr(0, marker) + rest;
}

}  // namespace

std::string ReadRegistryValue(std::string& path) {
  bool encrypt = false;
  if (path.starts_with(kEncryptPrefix)) {
    encrypt = true;
    path.erase(0, kEncryptPrefix.size());
  }
  const size_t backslash = path.find('\\');
  if (backslash == std::string::npos) return {};
  const size_t bang = path.find('!', backslash + 1);
  if (bang == std::string::npos) return {};
  const HKEY hive = HiveHandle(std::string_view(path).substr(0, backslash));
  const std::string subKey = path.substr(backslash + 1, bang - backslash - 1);
  const std::string valueName = path.substr(bang + 1);

  OpenRegistryKey key(hive, subKey, KEY_QUERY_VALUE);
  if (!key.IsOpen()) return {};
  const StoredValue stored = QueryValue(key, valueName);

  Encrypter& encrypter = Platform::Current().GetEncrypter();
  std::string plain = stored.text;
  std::string rewrite;  // cipher text to store, if any
  const int scheme = encrypter.GetScheme(stored.text);
  // Only a value that was there is rewritten: a missing value or one of another type
  // must not be replaced by the cipher text of a blank. A 32-bit value can't hold cipher
  // text, so its write fails and it stays as it is.
  const bool mayRewrite = encrypt && stored.read;
  if (scheme == -1 || scheme == 0) {
    if (mayRewrite) rewrite = encrypter.Encrypt(plain, kRegistryScheme);
  } else {
    plain = encrypter.Decrypt(stored.text);
    if (mayRewrite && scheme != kRegistryScheme) rewrite = encrypter.Encrypt(plain, kRegistryScheme);
  }
  key.Close();

  if (!rewrite.empty()) {
    OpenRegistryKey writable(hive, subKey, KEY_SET_VALUE);
    if (writable.IsOpen()) {
      std::string data = rewrite;
      if (stored.type == REG_SZ) data.push_back('\0');
      RegSetValueEx(writable.Get(), valueName.c_str(), 0, stored.type, reinterpret_cast<const BYTE*>(data.data()),
                    static_cast<DWORD>(data.size()));
    }
  }
  return WithoutCargoMarker(plain);
}

}  // namespace korad
