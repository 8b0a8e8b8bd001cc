#include "foundation/system_weekday_names.h"

#include <langinfo.h>
#include <locale.h>

#include <array>

namespace korad {
namespace {

struct WeekdayNames {
  std::array<std::string, 7> full;   // [0] is Sunday
  std::array<std::string, 7> abbreviated;
  int firstDay = 1;                  // 1 = Sunday
};

// Day of the week (0 = Sunday) of a date written as the number YYYYMMDD.
int DayOfWeekOf(unsigned int yyyymmdd) {
  int y = static_cast<int>(yyyymmdd / 10000);
  int m = static_cast<int>(yyyymmdd / 100 % 100);
  const int d = static_cast<int>(yyyymmdd % 100);
  static constexpr int kOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  if (m < 1 || m > 12) return 0;
  if (m < 3) y -= 1;
  return (y + y / 4 - y / 100 + y / 400 + kOffsets[m - 1] + d) % 7;
}

// Read once: the locale of a running agent doesn't change, and newlocale/nl_langinfo_l
// on a private locale object is safe from any thread, unlike setlocale.
WeekdayNames LoadNames() {
  WeekdayNames names;
  locale_t locale = newlocale(LC_TIME_MASK, "", static_cast<locale_t>(nullptr));
  if (locale == static_cast<locale_t>(nullptr)) {
    // A locale named in the environment but not installed: the C names.
    locale = newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(nullptr));
  }
  if (locale == static_cast<locale_t>(nullptr)) {
    names.full = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    names.abbreviated = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return names;
  }
  for (int i = 0; i < 7; ++i) {
    names.full[i] = nl_langinfo_l(static_cast<nl_item>(DAY_1 + i), locale);
    names.abbreviated[i] = nl_langinfo_l(static_cast<nl_item>(ABDAY_1 + i), locale);
  }
  // glibc gives the first weekday relative to a reference date of the locale's week.
  union {
    unsigned int word;
    const char* text;
  } reference{};
  reference.text = nl_langinfo_l(_NL_TIME_WEEK_1STDAY, locale);
  const int firstWeekday = nl_langinfo_l(_NL_TIME_FIRST_WEEKDAY, locale)[0];
  if (firstWeekday >= 1 && firstWeekday <= 7) {
    names.firstDay = (DayOfWeekOf(reference.word) + firstWeekday - 1) % 7 + 1;
  }
  freelocale(locale);
  return names;
}

const WeekdayNames& Names() {
  static const WeekdayNames names = LoadNames();
  return names;
}

}  // namespace

int SystemFirstDayOfWeek() { return Names().firstDay; }

std::string SystemWeekdayName(int dayOfWeek, bool abbreviate) {
  if (dayOfWeek < 1 || dayOfWeek > 7) return {};
  const WeekdayNames& names = Names();
  const int index = (names.firstDay - 1 + dayOfWeek - 1) % 7;
  return abbreviate ? names.abbreviated[index] : names.full[index];
}

}  // namespace korad
