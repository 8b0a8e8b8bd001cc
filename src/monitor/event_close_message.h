// The close request for an open event: a marker file home + "/ModuleMessages/" + module +
// "/" + GUID whose one line is the GUID. The module's own MonitorManager picks the marker
// up on its next pass and drops the event's form. Written by AgentMonitor when a
// configuration disappears and by ConfigurationManager for the server's close requests.
#pragma once

#include <string>
#include <string_view>

#include "contracts/interfaces.h"

namespace korad {

// Creates the folders as needed and writes the marker, replacing an older one of the same
// GUID. Logs "CreateEventCloseMessage: Creating close request file with GUID " + guid and
// "... Created ..." through `logManager->LogInfo` under `logSource` (no lines without a log
// manager). Raises the file system's error when the marker can't be written; the caller
// reports it.
void CreateEventCloseMessage(std::string_view homeDirectory, std::string_view guid, std::string_view moduleName,
                             const LogManagerRef& logManager, std::string_view logSource = "AgentMonitor");

// home + "/ModuleMessages/" + module + "/" + guid.
std::string EventCloseMessagePath(std::string_view homeDirectory, std::string_view moduleName, std::string_view guid);

}  // namespace korad
