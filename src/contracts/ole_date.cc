#include "contracts/ole_date.h"

#include <cctype>
#include <cmath>
#include <string>

#include "contracts/error.h"

namespace korad {
namespace {

constexpr int64_t kMsPerDay = 86'400'000;

// Days from 1970-01-01 to a proleptic Gregorian date (H. Hinnant's algorithm).
constexpr int64_t DaysFromCivil(int64_t y, unsigned m, unsigned d) noexcept {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const unsigned yoe = static_cast<unsigned>(y - era * 400);
  const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + static_cast<int64_t>(doe) - 719468;
}

struct YMD {
  int64_t y;
  unsigned m, d;
};

constexpr YMD CivilFromDays(int64_t z) noexcept {
  z += 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const unsigned doe = static_cast<unsigned>(z - era * 146097);
  const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t y = static_cast<int64_t>(yoe) + era * 400;
  const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const unsigned mp = (5 * doy + 2) / 153;
  const unsigned d = doy - (153 * mp + 2) / 5 + 1;
  const unsigned m = mp < 10 ? mp + 3 : mp - 9;
  return {y + (m <= 2), m, d};
}

// Day number of 1899-12-30 counted from 1970-01-01.
constexpr int64_t kOleEpoch = DaysFromCivil(1899, 12, 30);

constexpr bool IsLeap(int64_t y) noexcept { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

constexpr int DaysInMonth(int64_t y, int m) noexcept {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return m == 2 && IsLeap(y) ? 29 : kDays[m - 1];
}

// Valid dates run from 100-01-01 to 9999-12-31 23:59:59.
const double kMinLinear = static_cast<double>(DaysFromCivil(100, 1, 1) - kOleEpoch);
const double kMaxLinear = static_cast<double>(DaysFromCivil(10000, 1, 1) - kOleEpoch);

int64_t FloorDiv(int64_t a, int64_t b) noexcept {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return out;
}

OleDate AddMonths(OleDate date, int64_t months) {
  const CivilTime c = date.ToCivil();
  const int64_t total = static_cast<int64_t>(c.year) * 12 + (c.month - 1) + months;
  const int64_t year = FloorDiv(total, 12);
  const int month = static_cast<int>(total - year * 12) + 1;
  if (year < 100 || year > 9999) RaiseRuntimeError(kErrOverflow);
  const int day = std::min(c.day, DaysInMonth(year, month));
  // Keep the time of day exactly as it was.
  auto midnight = OleDate::FromCivil(static_cast<int>(year), month, day);
  return midnight->AddSeconds(date.TimePart().Days() * 86400.0);
}

int64_t RoundHalfEven(double v) { return static_cast<int64_t>(std::nearbyint(v)); }

}  // namespace

bool OleDate::IsValid() const noexcept {
  const double linear = LinearDays();
  return linear >= kMinLinear && linear < kMaxLinear;
}

double OleDate::LinearDays() const noexcept {
  if (m_days >= 0) return m_days;
  const double whole = std::trunc(m_days);
  return whole + (whole - m_days);
}

OleDate OleDate::FromLinearDays(double linear) noexcept {
  if (linear >= 0) return OleDate(linear);
  const double whole = std::floor(linear);
  const double frac = linear - whole;
  return OleDate(whole - frac);
}

std::optional<OleDate> OleDate::FromCivil(int year, int month, int day, int hour, int minute,
                                          int second, int millisecond) {
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
      second < 0 || second > 59 || millisecond < 0 || millisecond > 999) {
    return std::nullopt;
  }
  const int64_t days = DaysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) - kOleEpoch;
  const int64_t msOfDay = ((hour * 60LL + minute) * 60 + second) * 1000 + millisecond;
  return FromLinearDays(static_cast<double>(days) + static_cast<double>(msOfDay) / kMsPerDay);
}

std::optional<OleDate> OleDate::FromSerial(int year, int month, int day, int hour, int minute,
                                           int second) {
  const int64_t months = static_cast<int64_t>(year) * 12 + (month - 1);
  const int64_t y = FloorDiv(months, 12);
  const int m = static_cast<int>(months - y * 12) + 1;
  const int64_t days = DaysFromCivil(y, static_cast<unsigned>(m), 1) + (day - 1) - kOleEpoch;
  const double linear = static_cast<double>(days) + (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
  if (linear < kMinLinear || linear >= kMaxLinear) return std::nullopt;
  return FromLinearDays(linear);
}

CivilTime OleDate::ToCivil() const noexcept {
  const int64_t ms = std::llround(LinearDays() * static_cast<double>(kMsPerDay));
  const int64_t days = FloorDiv(ms, kMsPerDay);
  int64_t msOfDay = ms - days * kMsPerDay;
  const YMD ymd = CivilFromDays(days + kOleEpoch);
  CivilTime c;
  c.year = static_cast<int>(ymd.y);
  c.month = static_cast<int>(ymd.m);
  c.day = static_cast<int>(ymd.d);
  c.millisecond = static_cast<int>(msOfDay % 1000);
  msOfDay /= 1000;
  c.second = static_cast<int>(msOfDay % 60);
  c.minute = static_cast<int>((msOfDay / 60) % 60);
  c.hour = static_cast<int>(msOfDay / 3600);
  const int64_t w = ((days % 7) + 7) % 7;  // 0 on 1899-12-30, a Saturday
  c.weekday = static_cast<int>((w + 6) % 7) + 1;
  return c;
}

OleDate OleDate::FromUnixMillis(int64_t millis) noexcept {
  return FromLinearDays(static_cast<double>(-kOleEpoch) + static_cast<double>(millis) / kMsPerDay);
}

int64_t OleDate::ToUnixMillis() const noexcept {
  return std::llround((LinearDays() + static_cast<double>(kOleEpoch)) * static_cast<double>(kMsPerDay));
}

OleDate OleDate::DatePart() const noexcept { return FromLinearDays(std::floor(LinearDays())); }

OleDate OleDate::TimePart() const noexcept {
  const double l = LinearDays();
  return OleDate(l - std::floor(l));
}

OleDate OleDate::AddSeconds(double seconds) const noexcept {
  return FromLinearDays(LinearDays() + seconds / 86400.0);
}

double OleDate::SecondsUntil(OleDate later) const noexcept {
  return (later.LinearDays() - LinearDays()) * 86400.0;
}

OleDate DateAdd(std::string_view interval, double number, OleDate date) {
  const std::string iv = Upper(interval);
  // No interval can step this far and stay inside the valid range (about 3.2e11
  // seconds wide); the guard also keeps the integer conversion below defined.
  if (!(std::fabs(number) < 1e12)) RaiseRuntimeError(kErrOverflow);
  const int64_t n = RoundHalfEven(number);
  OleDate result;
  if (iv == "YYYY") {
    result = AddMonths(date, n * 12);
  } else if (iv == "Q") {
    result = AddMonths(date, n * 3);
  } else if (iv == "M") {
    result = AddMonths(date, n);
  } else if (iv == "Y" || iv == "D" || iv == "W") {
    result = date.AddDays(static_cast<double>(n));
  } else if (iv == "WW") {
    result = date.AddDays(static_cast<double>(n) * 7);
  } else if (iv == "H") {
    result = date.AddSeconds(static_cast<double>(n) * 3600);
  } else if (iv == "N") {
    result = date.AddSeconds(static_cast<double>(n) * 60);
  } else if (iv == "S") {
    result = date.AddSeconds(static_cast<double>(n));
  } else {
    RaiseRuntimeError(kErrInvalidCall);
  }
  if (!result.IsValid()) RaiseRuntimeError(kErrOverflow);
  return result;
}

int64_t DateDiff(std::string_view interval, OleDate from, OleDate to) {
  const std::string iv = Upper(interval);
  const CivilTime a = from.ToCivil();
  const CivilTime b = to.ToCivil();
  const int64_t dayA = DaysFromCivil(a.year, static_cast<unsigned>(a.month), static_cast<unsigned>(a.day));
  const int64_t dayB = DaysFromCivil(b.year, static_cast<unsigned>(b.month), static_cast<unsigned>(b.day));
  const int64_t secA = dayA * 86400 + a.hour * 3600 + a.minute * 60 + a.second;
  const int64_t secB = dayB * 86400 + b.hour * 3600 + b.minute * 60 + b.second;
  if (iv == "YYYY") return static_cast<int64_t>(b.year) - a.year;
  if (iv == "Q") return (static_cast<int64_t>(b.year) * 4 + (b.month - 1) / 3) - (static_cast<int64_t>(a.year) * 4 + (a.month - 1) / 3);
  if (iv == "M") return (static_cast<int64_t>(b.year) * 12 + b.month) - (static_cast<int64_t>(a.year) * 12 + a.month);
  if (iv == "Y" || iv == "D") return dayB - dayA;
  if (iv == "W") return (dayB - dayA) / 7;
  if (iv == "WW") return FloorDiv(dayB + 4, 7) - FloorDiv(dayA + 4, 7);  // Sundays crossed
  if (iv == "H") return FloorDiv(secB, 3600) - FloorDiv(secA, 3600);
  if (iv == "N") return FloorDiv(secB, 60) - FloorDiv(secA, 60);
  if (iv == "S") return secB - secA;
  RaiseRuntimeError(kErrInvalidCall);
}

int Weekday(OleDate date) noexcept { return date.ToCivil().weekday; }

}  // namespace korad
