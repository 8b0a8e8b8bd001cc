// OleDate: days since 1899-12-30 00:00, the time of day as the fraction.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace korad {

// The broken-down form of a date. weekday: 1 = Sunday .. 7 = Saturday.
struct CivilTime {
  int year = 1899;
  int month = 12;
  int day = 30;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
  int weekday = 7;
};

class OleDate {
 public:
  constexpr OleDate() noexcept = default;
  constexpr explicit OleDate(double days) noexcept : m_days(days) {}

  constexpr double Days() const noexcept { return m_days; }
  // A date field that was never set holds 0.
  constexpr bool IsZero() const noexcept { return m_days == 0.0; }
  // Inside the valid range, 100-01-01 00:00 .. 9999-12-31 23:59:59 (and not NaN).
  bool IsValid() const noexcept;

  // Builds a date from its parts; nullopt when a part is out of range (month 13,
  // 31 April, hour 24) or the year is outside 100..9999.
  static std::optional<OleDate> FromCivil(int year, int month, int day, int hour = 0,
                                          int minute = 0, int second = 0, int millisecond = 0);
  // Like FromCivil, but month and day roll over as the host's DateSerial does
  // (month 13 is January of the next year, day 0 the last day of the month before).
  static std::optional<OleDate> FromSerial(int year, int month, int day, int hour = 0,
                                           int minute = 0, int second = 0);

  // The parts, with the time rounded to the nearest millisecond.
  CivilTime ToCivil() const noexcept;

  static OleDate FromUnixMillis(int64_t millis) noexcept;
  int64_t ToUnixMillis() const noexcept;

  // Midnight of the same day, and the time of day alone (date part 0).
  OleDate DatePart() const noexcept;
  OleDate TimePart() const noexcept;

  // Exact instant arithmetic, aware of the odd encoding before 1899-12-30, where
  // -1.25 is 1899-12-29 06:00.
  OleDate AddSeconds(double seconds) const noexcept;
  OleDate AddDays(double days) const noexcept { return AddSeconds(days * 86400.0); }
  // Seconds from this date to `later` (negative if `later` is earlier).
  double SecondsUntil(OleDate later) const noexcept;

  friend constexpr bool operator==(OleDate a, OleDate b) noexcept { return a.m_days == b.m_days; }
  friend std::partial_ordering operator<=>(OleDate a, OleDate b) noexcept {
    return a.LinearDays() <=> b.LinearDays();
  }

 private:
  // The encoded value as a position on one straight time line.
  double LinearDays() const noexcept;
  static OleDate FromLinearDays(double linear) noexcept;

  double m_days = 0.0;
};

// The host's DateAdd: interval "yyyy", "q", "m", "y", "d", "w", "ww", "h", "n", "s"
// (case-insensitive). Month steps clamp to the last day of the month. Raises 5 for an
// unknown interval and 6 when the result leaves the valid date range.
OleDate DateAdd(std::string_view interval, double number, OleDate date);

// The host's DateDiff for the same intervals: counts boundaries crossed, not elapsed time.
int64_t DateDiff(std::string_view interval, OleDate from, OleDate to);

// The host's Weekday with Sunday as first day: 1 = Sunday .. 7 = Saturday.
int Weekday(OleDate date) noexcept;

}  // namespace korad
