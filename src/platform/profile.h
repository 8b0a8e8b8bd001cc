// Ini files with the semantics of the host's profile functions: sections and keys are
// case-insensitive, the first of two equal keys wins, comment lines stay in the section
// text, a missing key deletes a section and a missing value deletes a key. Writers lock
// the file against other threads and processes and replace it atomically, so concurrent
// writers of different sections lose nothing.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

// Section names in file order; empty when the file is missing.
std::vector<std::string> GetPrivateProfileSectionNames(std::string_view fileName);

// The lines of a section in file order, as "key=value" with blanks around the key
// trimmed; comment lines (";", "#") and lines without "=" are kept as they stand.
// nullopt when the file or the section is missing.
std::optional<std::vector<std::string>> GetPrivateProfileSection(std::string_view section,
                                                                 std::string_view fileName);

// The value of a key, trimmed; a value in matching quotes loses them. `defaultValue`
// when the file, section or key is missing.
std::string GetPrivateProfileString(std::string_view section, std::string_view key,
                                    std::string_view defaultValue, std::string_view fileName);

// Sets a key, adding the section and the file as needed. No key (nullopt) deletes the
// section; no value deletes the key. False on failure, with errno set.
bool WritePrivateProfileString(std::string_view section, std::optional<std::string_view> key,
                               std::optional<std::string_view> value, std::string_view fileName);

// Replaces the lines of a section (adding it at the end when new) with `lines`; an entry
// holding line breaks gives one line per part. No lines (or only empty ones) delete the
// section. False on failure, with errno set.
bool WritePrivateProfileSection(std::string_view section, const std::vector<std::string>& lines,
                                std::string_view fileName);

}  // namespace korad
