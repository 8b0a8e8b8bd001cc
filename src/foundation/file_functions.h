// File and folder helpers shared by the library's classes. Paths may use "\" or "/".
#pragma once

#include <string>
#include <string_view>

#include "contracts/ole_date.h"

namespace korad {

// Creates the folder when nothing exists at `path`. Its parent must exist: a missing one
// raises 76 (path not found) and nothing is created.
void EnsureFolder(std::string_view path);

// Deletes the file when it exists; a failing delete raises the file system's error.
void DeleteFileIfExists(std::string_view path);

// Linux files carry no hidden attribute (a leading "." in a name is a convention of
// listings, not an attribute this agent ever set), so there is nothing to clear.
void ClearHiddenAttribute(std::string_view path);

// Sets the file's (or folder's) last access and last write times to `localDate`, a local
// time, converted to UTC through the platform clock. Linux keeps no creation time to
// set. True on success; a failure raises the file system's number with the
// text "SetFileTime: [" + number + "] " + the file system's description.
bool SetFileDateTime(std::string_view path, OleDate localDate);

// Linux binaries carry no version resource, so the version text is always blank, as it
// is for a file without version information.
std::string GetFileVersionText(std::string_view path);

}  // namespace korad
