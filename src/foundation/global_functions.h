// The free functions that every class of the library may use. NormalizeKey, IsBlank and
// StripSpaces live with the text helpers (contracts/text.h).
#pragma once

#include <string>
#include <string_view>

#include "contracts/ole_date.h"
#include "contracts/text.h"

namespace korad {

// Looks the path up, hidden and system files included; errors read as False.
bool FileExists(std::string_view path);

// The present UTC time from the platform's clock.
OleDate UTCNow();

// The agent's home folder: the application's service path, else its other path, less
// its last 4 characters (the "\BIN" of the binary folder); the library's own folder if
// that is blank. Asks the application every time: nothing is cached. Raises
// "Could not create application object to get home directory (1)" if there is none.
std::string GetHomeDirectory();

// The folder of a system folder id, always with a trailing separator; blank for an id
// this system has no folder for.
std::string GetSpecialFolder(int folderId);

// The common files folder plus "Morvane"; the library's own folder plus "\Morvane" when
// there is no common files folder.
std::string GetSharedProgramFolder();

// The folder that holds the running program (no trailing separator).
std::string LibraryFolder();

}  // namespace korad
