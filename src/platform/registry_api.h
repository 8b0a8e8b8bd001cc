// Win32-shaped registry functions over the platform's registry, for code that came from
// the host and speaks in handles, byte buffers and LONG status codes. Strings are bytes
// ("A" functions). Handles from RegOpenKeyEx must be closed with RegCloseKey; the four
// predefined hive handles need no opening or closing. All functions are thread-safe.
#pragma once

#include <cstdint>

#include "platform/registry.h"

namespace korad {

using DWORD = uint32_t;
using LONG = int32_t;
using BYTE = uint8_t;
using REGSAM = uint32_t;

struct RegKeyHandle;  // never defined: a handle is only a number
using HKEY = RegKeyHandle*;

struct FILETIME {
  DWORD dwLowDateTime = 0;
  DWORD dwHighDateTime = 0;
};

inline const HKEY HKEY_CLASSES_ROOT = reinterpret_cast<HKEY>(uintptr_t{0x80000000u});
inline const HKEY HKEY_CURRENT_USER = reinterpret_cast<HKEY>(uintptr_t{0x80000001u});
inline const HKEY HKEY_LOCAL_MACHINE = reinterpret_cast<HKEY>(uintptr_t{0x80000002u});
inline const HKEY HKEY_USERS = reinterpret_cast<HKEY>(uintptr_t{0x80000003u});

inline constexpr LONG ERROR_SUCCESS = 0;
inline constexpr LONG ERROR_FILE_NOT_FOUND = 2;
inline constexpr LONG ERROR_ACCESS_DENIED = 5;
inline constexpr LONG ERROR_INVALID_HANDLE = 6;
inline constexpr LONG ERROR_WRITE_FAULT = 29;
inline constexpr LONG ERROR_INVALID_PARAMETER = 87;
inline constexpr LONG ERROR_MORE_DATA = 234;
inline constexpr LONG ERROR_NO_MORE_ITEMS = 259;

inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_NOTIFY = 0x0010;
inline constexpr REGSAM KEY_READ = 0x20019;  // query, enumerate, notify, read control
inline constexpr REGSAM KEY_WRITE = 0x20006;  // set value, create subkey, read control
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

// Opens `subKey` (empty or null: `key` itself) under an open key or a predefined hive.
// ERROR_FILE_NOT_FOUND if the key doesn't exist, ERROR_INVALID_HANDLE for a handle that
// isn't open. `options` is ignored. The handle allows what `access` asks for.
LONG RegOpenKeyEx(HKEY key, const char* subKey, DWORD options, REGSAM access, HKEY* result);

// Closes a handle from RegOpenKeyEx; the predefined handles close as a no-op.
LONG RegCloseKey(HKEY key);

// The value's type and data. With `data` null, `*dataSize` receives the size needed;
// a string's size counts its terminating NUL and its data carries one; a DWORD is four
// little-endian bytes. A buffer too small gives ERROR_MORE_DATA with the size needed.
// Needs KEY_QUERY_VALUE. `name` null or empty is the default value.
LONG RegQueryValueEx(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* dataSize);

// Stores a value of type REG_SZ, REG_EXPAND_SZ, REG_BINARY or REG_DWORD (4 bytes); one
// terminating NUL of a string is dropped. Other types: ERROR_INVALID_PARAMETER.
// Needs KEY_SET_VALUE. ERROR_WRITE_FAULT if the store can't be written.
LONG RegSetValueEx(HKEY key, const char* name, DWORD reserved, DWORD type, const BYTE* data, DWORD dataSize);

// The value at `index` in creation order; ERROR_NO_MORE_ITEMS past the last. `*nameChars`
// is the name buffer's size in characters with room for the NUL, and on success receives
// the name's length without it; a name that doesn't fit gives ERROR_MORE_DATA.
// `type`, `data` and `dataSize` behave as in RegQueryValueEx. Needs KEY_QUERY_VALUE.
LONG RegEnumValue(HKEY key, DWORD index, char* name, DWORD* nameChars, DWORD* reserved, DWORD* type,
                  BYTE* data, DWORD* dataSize);

// The subkey name at `index` in creation order, sized as RegEnumValue's name; keys have
// no class (empty) and no write time (zero). Needs KEY_ENUMERATE_SUB_KEYS.
LONG RegEnumKeyEx(HKEY key, DWORD index, char* name, DWORD* nameChars, DWORD* reserved, char* className,
                  DWORD* classChars, FILETIME* lastWriteTime);

// Counts of subkeys and values and the longest subkey name, value name (characters,
// without NUL) and value data (bytes, as RegQueryValueEx sizes it). Every out pointer may
// be null. Needs KEY_QUERY_VALUE.
LONG RegQueryInfoKey(HKEY key, char* className, DWORD* classChars, DWORD* reserved, DWORD* subKeys,
                     DWORD* maxSubKeyLen, DWORD* maxClassLen, DWORD* values, DWORD* maxValueNameLen,
                     DWORD* maxValueLen, DWORD* securityDescriptor, FILETIME* lastWriteTime);

}  // namespace korad
