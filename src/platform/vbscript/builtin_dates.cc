// Date built-ins. Date, Time and Now read the platform clock in local time; day and
// month names are English.
#include <array>

#include "contracts/error.h"
#include "platform/clock.h"
#include "platform/platform.h"
#include "platform/vbscript/builtins.h"

namespace korad::vbscript {
namespace {

constexpr std::array<std::string_view, 7> kDayNames = {"Sunday", "Monday", "Tuesday", "Wednesday",
                                                       "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 12> kMonthNames = {
    "January", "February", "March", "April", "May", "June",
    "July", "August", "September", "October", "November", "December"};

// The local time to the whole second, as the language's clock reads.
OleDate LocalNowSeconds() {
  int64_t millis = Platform::Current().GetClock().LocalNow().ToUnixMillis();
  millis -= ((millis % 1000) + 1000) % 1000;
  return OleDate::FromUnixMillis(millis);
}

// The time of day from its parts, so that 22:00 of any day equals TimeValue("22:00"):
// the fraction of a large day number carries rounding noise.
OleDate TimeOfDay(OleDate date) {
  const CivilTime c = date.ToCivil();
  const int64_t millis = ((c.hour * 60LL + c.minute) * 60 + c.second) * 1000 + c.millisecond;
  return OleDate(static_cast<double>(millis) / 86'400'000.0);
}

Value Now(Arguments, const BuiltinLimits&) { return Value(LocalNowSeconds()); }
Value Date(Arguments, const BuiltinLimits&) { return Value(LocalNowSeconds().DatePart()); }
Value Time(Arguments, const BuiltinLimits&) { return Value(TimeOfDay(LocalNowSeconds())); }

Value DateAddFn(Arguments a, const BuiltinLimits&) {
  if (a[2].IsNull()) return a[2];
  return Value(DateAdd(a[0].ToText(), a[1].ToDouble(), a[2].ToDate()));
}

Value DateDiffFn(Arguments a, const BuiltinLimits&) {
  if (a[1].IsNull() || a[2].IsNull()) return Value(Value::Null);
  const int64_t difference = DateDiff(a[0].ToText(), a[1].ToDate(), a[2].ToDate());
  if (difference < INT32_MIN || difference > INT32_MAX) return Value(static_cast<double>(difference));
  return Value(static_cast<int32_t>(difference));
}

// Two-digit years are read in the window 1930..2029.
int FullYear(int year) {
  if (year >= 0 && year < 30) return year + 2000;
  if (year >= 30 && year < 100) return year + 1900;
  return year;
}

Value DateSerial(Arguments a, const BuiltinLimits&) {
  if (AnyNull(a)) return Value(Value::Null);
  const auto date = OleDate::FromSerial(FullYear(a[0].ToInteger()), a[1].ToInteger(), a[2].ToInteger());
  if (!date) RaiseRuntimeError(kErrInvalidCall);
  return Value(*date);
}

Value TimeSerial(Arguments a, const BuiltinLimits&) {
  if (AnyNull(a)) return Value(Value::Null);
  const double seconds = a[0].ToInteger() * 3600.0 + a[1].ToInteger() * 60.0 + a[2].ToInteger();
  return Value(OleDate().AddSeconds(seconds));
}

Value DateValue(Arguments a, const BuiltinLimits&) {
  return a[0].IsNull() ? a[0] : Value(a[0].ToDate().DatePart());
}
Value TimeValue(Arguments a, const BuiltinLimits&) {
  return a[0].IsNull() ? a[0] : Value(TimeOfDay(a[0].ToDate()));
}

template <int CivilTime::*Field>
Value Part(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  return Value(static_cast<int16_t>(a[0].ToDate().ToCivil().*Field));
}

// 0 (vbUseSystemDayOfWeek) is Sunday, as the week starts there in English.
int FirstDay(const Value* first) {
  if (!first) return 1;
  const int day = first->ToInteger();
  if (day < 0 || day > 7) RaiseRuntimeError(kErrInvalidCall);
  return day == 0 ? 1 : day;
}

Value WeekdayFn(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const int first = FirstDay(Optional(a, 1));
  return Value(static_cast<int16_t>((Weekday(a[0].ToDate()) - first + 7) % 7 + 1));
}

Value WeekdayName(Arguments a, const BuiltinLimits&) {
  const int day = a[0].ToInteger();
  if (day < 1 || day > 7) RaiseRuntimeError(kErrInvalidCall);
  const bool abbreviate = Optional(a, 1) && a[1].ToBoolean();
  const std::string_view name = kDayNames[static_cast<size_t>((day - 1 + FirstDay(Optional(a, 2)) - 1) % 7)];
  return Value(abbreviate ? name.substr(0, 3) : name);
}

Value MonthName(Arguments a, const BuiltinLimits&) {
  const int month = a[0].ToInteger();
  if (month < 1 || month > 12) RaiseRuntimeError(kErrInvalidCall);
  const bool abbreviate = Optional(a, 1) && a[1].ToBoolean();
  const std::string_view name = kMonthNames[static_cast<size_t>(month - 1)];
  return Value(abbreviate ? name.substr(0, 3) : name);
}

constexpr Builtin kDates[] = {
    {"Date", 0, 0, Date},
    {"Time", 0, 0, Time},
    {"Now", 0, 0, Now},
    {"DateAdd", 3, 3, DateAddFn},
    {"DateDiff", 3, 5, DateDiffFn},
    {"DateSerial", 3, 3, DateSerial},
    {"TimeSerial", 3, 3, TimeSerial},
    {"DateValue", 1, 1, DateValue},
    {"TimeValue", 1, 1, TimeValue},
    {"Year", 1, 1, Part<&CivilTime::year>},
    {"Month", 1, 1, Part<&CivilTime::month>},
    {"Day", 1, 1, Part<&CivilTime::day>},
    {"Hour", 1, 1, Part<&CivilTime::hour>},
    {"Minute", 1, 1, Part<&CivilTime::minute>},
    {"Second", 1, 1, Part<&CivilTime::second>},
    {"Weekday", 1, 2, WeekdayFn},
    {"WeekdayName", 1, 3, WeekdayName},
    {"MonthName", 1, 2, MonthName},
};

}  // namespace

std::span<const Builtin> DateBuiltins() { return kDates; }

}  // namespace korad::vbscript
