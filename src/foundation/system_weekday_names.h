// Weekday names as the host's WeekdayName gives them when told to use the system's first
// day of the week: names of the system locale (LC_TIME of the environment), counted from
// the locale's first day.
#pragma once

#include <string>

namespace korad {

// The name of day `dayOfWeek` (1..7) counted from the system's first day of the week. A
// caller that passes Weekday(date), which counts from Sunday, gets the true name only on
// a system whose week starts on Sunday (the C locale's and en_US's); elsewhere the name
// is shifted by the difference. Callers rely on that, so it is not corrected here.
// Outside 1..7 the result is blank.
std::string SystemWeekdayName(int dayOfWeek, bool abbreviate);

// The system's first day of the week, 1 = Sunday .. 7 = Saturday.
int SystemFirstDayOfWeek();

}  // namespace korad
