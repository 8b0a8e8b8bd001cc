// The functions a schedule script may call, written afresh for each evaluation with the
// configuration's frequency, its last measurement and whether it has forms open:
// Slow_Poll_While_Closed, Slow_Poll, Days_Of_The_Week and Only_Between_Specified_Times.
#pragma once
#include <string>
#include <vector>

namespace korad {

// The code of the four functions, one block each, lines ended by CR LF.
std::vector<std::string> ScheduleScriptFunctions(const std::string& frequency, const std::string& lastMonitorTime,
                                                 bool formsOpen);

}  // namespace korad
