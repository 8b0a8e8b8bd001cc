#include "foundation/system_weekday_names.h"

#include "platform/environment.h"
#include "platform/platform.h"

namespace korad {

int SystemFirstDayOfWeek() { return Platform::Current().GetEnvironment().Weekdays().firstDay; }

std::string SystemWeekdayName(int dayOfWeek, bool abbreviate) {
  if (dayOfWeek < 1 || dayOfWeek > 7) return {};
  const WeekdayNames& names = Platform::Current().GetEnvironment().Weekdays();
  const int index = (names.firstDay - 1 + dayOfWeek - 1) % 7;
  return abbreviate ? names.abbreviated[index] : names.full[index];
}

}  // namespace korad
