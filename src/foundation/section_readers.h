// Reading ini sections for the module configuration reader and its neighbours. The
// readers hand out plain text: values stored as cipher text are decrypted, and on the
// way a plain connect string or a value under a scheme other than 3 is rewritten in the
// file as scheme 3 cipher text, so the first reader of a file migrates it silently.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/interfaces.h"

namespace korad {

class Configurations;

// Section names in file order; nullopt where the host would leave the array Empty.
using SectionNameArray = std::optional<std::vector<std::string>>;

// One column of the host's two-row key/value array: values(0, i) is `key`, values(1, i)
// is `value`. nullopt stands for the Empty the reader leaves when it stores nothing.
struct SectionEntry {
  std::string key;
  std::string value;
  bool operator==(const SectionEntry&) const = default;
};
using SectionArray = std::optional<std::vector<SectionEntry>>;

// The file's section names into `names`. A file with no sections, or none at all,
// answers True and leaves `names` untouched (callers pass it unset). False when the file
// exists but can't be read, so a caller can tell "nothing there" from "can't look".
bool GetSectionNames(std::string_view path, SectionNameArray& names);

// The section's "key=value" entries (comment lines included) joined by a zero
// character; blank when the section or the file is missing.
std::string ReadSectionText(std::string_view path, std::string_view section);

// The value of a key, blank when missing; values beyond 2047 characters are cut there.
std::string GetProfileValue(std::string_view path, std::string_view section, std::string_view key);

// Adds the section's entries to the current view of `configurations`, after decryption
// and migration (see above). An entry whose value starts with ";" is dropped; the others
// pass ExpandMacros and have "**morvaneCrLf**" (any case) turned into CR LF. A key the
// view already holds keeps its value, so what was read first wins.
// An entry without "=" (a comment line, too) raises 5 and ends the read; entries before
// it stay added. Decryption errors pass to the caller; migration write errors don't.
// `logSource` and `logManager` are carried for the callers' traces.
void ReadSectionIntoConfigurations(std::string_view logSource, std::string_view path, std::string_view section,
                                   Configurations& configurations, const LogManagerRef& logManager);

// As ReadSectionIntoConfigurations, but ExpandMacros runs before the ";" test, and every
// entry is appended to `values`, equal keys included. `values` stays nullopt when
// nothing is stored; otherwise entries are appended behind what it holds.
void ReadSectionIntoArray(std::string_view logSource, std::string_view path, std::string_view section,
                          SectionArray& values, const LogManagerRef& logManager);

}  // namespace korad
