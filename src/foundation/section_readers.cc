#include "foundation/section_readers.h"

#include <functional>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/macros.h"
#include "platform/encrypter.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad {
namespace {

constexpr int kIniScheme = 3;
constexpr size_t kProfileValueLimit = 2047;  // the host's 2048-character buffer, less its terminator
constexpr std::string_view kLineBreakEscape = "**morvaneCrLf**";

bool IsConnectStringKey(std::string_view key) {
  const std::string upper = UpperAscii(key);
  return upper == "CONNECTIONSTRING" || upper == "CONNECTSTRING";
}

// Rewrites a value as scheme 3 cipher text. Whatever fails here leaves the file as it was
// and the reader goes on with the plain text in hand.
void StoreAsIniCipher(Encrypter& encrypter, std::string_view path, std::string_view section, std::string_view key,
                      std::string_view plain) {
  try {
    WritePrivateProfileString(section, key, encrypter.Encrypt(plain, kIniScheme), path);
  } catch (...) {
  }
}

// Calls `take(key, plainValue)` for each entry of the section in file order.
void ReadEntries(std::string_view path, std::string_view section,
                 const std::function<void(const std::string&, std::string&)>& take) {
  Encrypter& encrypter = Platform::Current().GetEncrypter();
  const std::optional<std::vector<std::string>> entries = GetPrivateProfileSection(section, path);
  if (!entries) return;
  for (const std::string& entry : *entries) {
    const size_t equals = entry.find('=');
    if (equals == std::string::npos) {
      throw Error(kErrInvalidCall, "",
                  "The entry '" + entry + "' of section '" + std::string(section) + "' in " + std::string(path) +
                      " has no '='");
    }
    const std::string key = entry.substr(0, equals);
    std::string value = entry.substr(equals + 1);
    const int scheme = encrypter.GetScheme(value);
    if (scheme == -1 || scheme == 0) {
      if (IsConnectStringKey(key)) StoreAsIniCipher(encrypter, path, section, key, value);
    } else {
      value = encrypter.Decrypt(value);
      if (scheme != kIniScheme) StoreAsIniCipher(encrypter, path, section, key, value);
    }
    take(key, value);
  }
}

std::string Expanded(std::string value) {
  Value text(std::move(value));
  ExpandMacros(text);
  return *text.AsString();
}

std::string WithLineBreaks(const std::string& value) {
  return ReplaceTextNoCase(value, kLineBreakEscape, "\r\n");
}

bool IsCommentedOut(std::string_view value) { return !value.empty() && value.front() == ';'; }

}  // namespace

bool GetSectionNames(std::string_view path, SectionNameArray& names) {
  try {
    std::vector<std::string> found = GetPrivateProfileSectionNames(path);
    if (!found.empty()) {
      names = std::move(found);
      return true;
    }
    // The profile reads an unreadable file as an empty one; only a real read tells a
    // missing or empty file (no sections) from one that can't be read.
    try {
      Platform::Current().GetFileSystem().ReadFile(path);
    } catch (const Error& error) {
      return error.Number() == kErrFileNotFound || error.Number() == kErrPathNotFound;
    }
    return true;
  } catch (...) {
    return false;
  }
}

std::string ReadSectionText(std::string_view path, std::string_view section) {
  const std::optional<std::vector<std::string>> entries = GetPrivateProfileSection(section, path);
  std::string text;
  if (!entries) return text;
  for (const std::string& entry : *entries) {
    if (!text.empty()) text.push_back('\0');
    text.append(entry);
  }
  return text;
}

std::string GetProfileValue(std::string_view path, std::string_view section, std::string_view key) {
  std::string value = GetPrivateProfileString(section, key, "", path);
  if (value.size() > kProfileValueLimit) value.resize(kProfileValueLimit);
  return value;
}

void ReadSectionIntoConfigurations(std::string_view logSource, std::string_view path, std::string_view section,
                                   Configurations& configurations, const LogManagerRef& logManager) {
  ReadEntries(path, section, [&](const std::string& key, std::string& value) {
    if (IsCommentedOut(value)) return;
    value = WithLineBreaks(Expanded(std::move(value)));
    if (!configurations.Exists(key)) configurations.Add(key, value);
  });
}

void ReadSectionIntoArray(std::string_view logSource, std::string_view path, std::string_view section,
                          SectionArray& values, const LogManagerRef& logManager) {
  ReadEntries(path, section, [&](const std::string& key, std::string& value) {
    value = Expanded(std::move(value));
    if (IsCommentedOut(value)) return;
    if (!values) values.emplace();
    values->push_back({key, WithLineBreaks(std::move(value))});
  });
}

}  // namespace korad
