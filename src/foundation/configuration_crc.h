// The CRC of what the agent is configured to run, as the server computes it to tell
// whether its copy is current.
#pragma once

#include <string>
#include <string_view>

#include "contracts/interfaces.h"

namespace korad {

// The CRC text of the service file `path` and the configuration sources of its monitor
// and actor sections (all but the agent's own "MvAgentMonitor"): module names, section
// names and trimmed "key=value" lines, each list sorted, LogInfo lines left out. So the
// order of sections and lines and the LogInfo flag don't change it. Traces go to
// `logManager` under "GetConfigurationCRC" at level 7.
std::string GetConfigurationCRC(std::string_view path, const LogManagerRef& logManager);

}  // namespace korad
