#include "platform/registry_api.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/platform.h"

namespace korad {
namespace {

constexpr uintptr_t kFirstPredefined = 0x80000000u;
constexpr uintptr_t kLastPredefined = 0x80000003u;

struct OpenKey {
  RegistryHive hive;
  std::string path;
  REGSAM access;
};

// Open keys by handle number. Numbers are never reused within a process, so a stale
// handle is answered with ERROR_INVALID_HANDLE rather than reaching another key.
class HandleTable {
 public:
  HKEY Add(OpenKey key) {
    std::lock_guard lock(m_mutex);
    m_next += 4;
    if (m_next >= kFirstPredefined && m_next <= kLastPredefined) m_next = kLastPredefined + 1;
    m_keys.emplace(m_next, std::move(key));
    return reinterpret_cast<HKEY>(m_next);
  }
  std::optional<OpenKey> Find(HKEY key) {
    std::lock_guard lock(m_mutex);
    auto it = m_keys.find(reinterpret_cast<uintptr_t>(key));
    if (it == m_keys.end()) return std::nullopt;
    return it->second;
  }
  bool Remove(HKEY key) {
    std::lock_guard lock(m_mutex);
    return m_keys.erase(reinterpret_cast<uintptr_t>(key)) == 1;
  }

 private:
  std::mutex m_mutex;
  std::unordered_map<uintptr_t, OpenKey> m_keys;
  uintptr_t m_next = 0x1000;
};

HandleTable& Handles() {
  static auto* table = new HandleTable();  // never destroyed: handles may be closed late
  return *table;
}

bool IsPredefined(HKEY key) {
  const auto raw = reinterpret_cast<uintptr_t>(key);
  return raw >= kFirstPredefined && raw <= kLastPredefined;
}

std::optional<OpenKey> Lookup(HKEY key) {
  if (IsPredefined(key)) {
    const auto raw = reinterpret_cast<uintptr_t>(key);
    return OpenKey{static_cast<RegistryHive>(raw - kFirstPredefined), "", KEY_ALL_ACCESS};
  }
  return Handles().Find(key);
}

Registry& Store() { return Platform::Current().GetRegistry(); }

std::string_view Name(const char* name) { return name ? std::string_view(name) : std::string_view(); }

// The bytes a caller sees for a value.
std::string ValueBytes(const RegistryValue& value) {
  switch (value.type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      return value.data + '\0';
    case REG_DWORD: {
      std::string bytes(4, '\0');
      for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((value.dword >> (8 * i)) & 0xFF);
      return bytes;
    }
    case REG_BINARY:
      break;
  }
  return value.data;
}

LONG CopyData(const std::string& bytes, BYTE* data, DWORD* dataSize) {
  const auto needed = static_cast<DWORD>(bytes.size());
  if (!data) {
    if (dataSize) *dataSize = needed;
    return ERROR_SUCCESS;
  }
  if (!dataSize) return ERROR_INVALID_PARAMETER;
  if (*dataSize < needed) {
    *dataSize = needed;
    return ERROR_MORE_DATA;
  }
  std::memcpy(data, bytes.data(), bytes.size());
  *dataSize = needed;
  return ERROR_SUCCESS;
}

LONG CopyName(const std::string& text, char* name, DWORD* nameChars) {
  if (!name || !nameChars) return ERROR_INVALID_PARAMETER;
  if (*nameChars < text.size() + 1) return ERROR_MORE_DATA;
  std::memcpy(name, text.data(), text.size());
  name[text.size()] = '\0';
  *nameChars = static_cast<DWORD>(text.size());
  return ERROR_SUCCESS;
}

LONG ReturnValue(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* dataSize) {
  if (type) *type = value.type;
  return CopyData(ValueBytes(value), data, dataSize);
}

}  // namespace

LONG RegOpenKeyEx(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  auto parent = Lookup(key);
  if (!parent) return ERROR_INVALID_HANDLE;
  std::string path = parent->path;
  if (!Name(subKey).empty()) {
    if (!path.empty()) path += '\\';
    path += Name(subKey);
  }
  if (!Store().KeyExists(parent->hive, path)) return ERROR_FILE_NOT_FOUND;
  *result = Handles().Add(OpenKey{parent->hive, std::move(path), access});
  return ERROR_SUCCESS;
}

LONG RegCloseKey(HKEY key) {
  if (IsPredefined(key)) return ERROR_SUCCESS;
  return Handles().Remove(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}

LONG RegQueryValueEx(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize) {
  auto open = Lookup(key);
  if (!open) return ERROR_INVALID_HANDLE;
  if (!(open->access & KEY_QUERY_VALUE)) return ERROR_ACCESS_DENIED;
  auto value = Store().QueryValue(open->hive, open->path, Name(name));
  if (!value) return ERROR_FILE_NOT_FOUND;
  return ReturnValue(*value, type, data, dataSize);
}

LONG RegSetValueEx(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD dataSize) {
  auto open = Lookup(key);
  if (!open) return ERROR_INVALID_HANDLE;
  if (!(open->access & KEY_SET_VALUE)) return ERROR_ACCESS_DENIED;
  if (!data && dataSize != 0) return ERROR_INVALID_PARAMETER;
  std::string bytes(reinterpret_cast<const char*>(data), data ? dataSize : 0);
  RegistryValue value;
  switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ:
      if (!bytes.empty() && bytes.back() == '\0') bytes.pop_back();
      value = RegistryValue::String(std::move(bytes), static_cast<RegistryType>(type));
      break;
    case REG_BINARY:
      value = RegistryValue::Binary(std::move(bytes));
      break;
    case REG_DWORD: {
      if (bytes.size() != 4) return ERROR_INVALID_PARAMETER;
      uint32_t v = 0;
      for (int i = 3; i >= 0; --i) v = (v << 8) | static_cast<unsigned char>(bytes[i]);
      value = RegistryValue::Dword(v);
      break;
    }
    default:
      return ERROR_INVALID_PARAMETER;
  }
  return Store().SetValue(open->hive, open->path, Name(name), value) ? ERROR_SUCCESS : ERROR_WRITE_FAULT;
}

LONG RegEnumValue(HKEY key, DWORD index, char* name, DWORD* nameChars, DWORD* reserved, DWORD* type,
                  BYTE* data, DWORD* dataSize) {
  auto open = Lookup(key);
  if (!open) return ERROR_INVALID_HANDLE;
  if (!(open->access & KEY_QUERY_VALUE)) return ERROR_ACCESS_DENIED;
  auto names = Store().EnumValueNames(open->hive, open->path);
  if (!names) return ERROR_FILE_NOT_FOUND;
  if (index >= names->size()) return ERROR_NO_MORE_ITEMS;
  const std::string& valueName = (*names)[index];
  if (LONG status = CopyName(valueName, name, nameChars); status != ERROR_SUCCESS) return status;
  auto value = Store().QueryValue(open->hive, open->path, valueName);
  if (!value) return ERROR_FILE_NOT_FOUND;  // deleted by another writer since the listing
  return ReturnValue(*value, type, data, dataSize);
}

LONG RegEnumKeyEx(HKEY key, DWORD index, char* name, DWORD* nameChars, DWORD* reserved, char* className,
                  DWORD* classChars, FILETIME* lastWriteTime) {
  auto open = Lookup(key);
  if (!open) return ERROR_INVALID_HANDLE;
  if (!(open->access & KEY_ENUMERATE_SUB_KEYS)) return ERROR_ACCESS_DENIED;
  auto subKeys = Store().EnumSubKeys(open->hive, open->path);
  if (!subKeys) return ERROR_FILE_NOT_FOUND;
  if (index >= subKeys->size()) return ERROR_NO_MORE_ITEMS;
  if (LONG status = CopyName((*subKeys)[index], name, nameChars); status != ERROR_SUCCESS) return status;
  if (className && classChars && *classChars > 0) className[0] = '\0';
  if (classChars) *classChars = 0;
  if (lastWriteTime) *lastWriteTime = FILETIME{};
  return ERROR_SUCCESS;
}

LONG RegQueryInfoKey(HKEY key, char* className, DWORD* classChars, DWORD* reserved, DWORD* subKeys,
                     DWORD* maxSubKeyLen, DWORD* maxClassLen, DWORD* values, DWORD* maxValueNameLen,
                     DWORD* maxValueLen, DWORD* securityDescriptor, FILETIME* lastWriteTime) {
  auto open = Lookup(key);
  if (!open) return ERROR_INVALID_HANDLE;
  if (!(open->access & KEY_QUERY_VALUE)) return ERROR_ACCESS_DENIED;
  auto subKeyNames = Store().EnumSubKeys(open->hive, open->path);
  auto valueNames = Store().EnumValueNames(open->hive, open->path);
  if (!subKeyNames || !valueNames) return ERROR_FILE_NOT_FOUND;

  DWORD longestSubKey = 0, longestName = 0, longestData = 0;
  for (const auto& n : *subKeyNames) longestSubKey = std::max(longestSubKey, static_cast<DWORD>(n.size()));
  for (const auto& n : *valueNames) {
    longestName = std::max(longestName, static_cast<DWORD>(n.size()));
    if (auto value = Store().QueryValue(open->hive, open->path, n)) {
      longestData = std::max(longestData, static_cast<DWORD>(ValueBytes(*value).size()));
    }
  }
  if (className && classChars && *classChars > 0) className[0] = '\0';
  if (classChars) *classChars = 0;
  if (subKeys) *subKeys = static_cast<DWORD>(subKeyNames->size());
  if (maxSubKeyLen) *maxSubKeyLen = longestSubKey;
  if (maxClassLen) *maxClassLen = 0;
  if (values) *values = static_cast<DWORD>(valueNames->size());
  if (maxValueNameLen) *maxValueNameLen = longestName;
  if (maxValueLen) *maxValueLen = longestData;
  if (securityDescriptor) *securityDescriptor = 0;
  if (lastWriteTime) *lastWriteTime = FILETIME{};
  return ERROR_SUCCESS;
}

}  // namespace korad
