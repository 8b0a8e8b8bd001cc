// The host's own log lines, written through the application's log writer (so they land
// in <home>/LogFiles/MvAgent.log with the library's lines), and the console copy that
// --foreground adds.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

#include "contracts/enums.h"
#include "platform/application.h"

namespace korad::agent {

inline constexpr std::string_view kAgentLogCategory = "MvAgent";

// One line under "MvAgent"; never fails the caller.
void AgentLog(KORADSLog_Level level, std::string_view text);

// The application `inner` with every line at level 6 or more severe (and every event)
// also written to `console`.
std::shared_ptr<HostApplication> WithConsoleLog(std::shared_ptr<HostApplication> inner, std::FILE* console);

}  // namespace korad::agent
