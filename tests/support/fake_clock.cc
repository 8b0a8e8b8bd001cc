#include "support/fake_clock.h"

#include <cmath>

#include "platform/platform.h"

namespace korad::testing {
namespace {

constexpr int64_t kMsPerMinute = 60'000;

// The UTC instant of a local wall time in a zone `offsetMinutes` east of UTC.
int64_t UtcMillisOfLocal(int year, int month, int day, int hour, int32_t offsetMinutes) {
  return OleDate::FromCivil(year, month, day, hour)->ToUnixMillis() - offsetMinutes * kMsPerMinute;
}

// Day of the month of the n-th Sunday (1-based) of a month.
int NthSunday(int year, int month, int n) {
  const int firstWeekday = OleDate::FromCivil(year, month, 1)->ToCivil().weekday;  // 1 = Sunday
  return 1 + (8 - firstWeekday) % 7 + (n - 1) * 7;
}

}  // namespace

OleDate FakeClock::DefaultStart() { return *OleDate::FromCivil(2024, 1, 15, 12, 0, 0); }

FakeClock::OffsetRule FakeClock::UsEasternRule() {
  return [](OleDate utc) -> int32_t {
    constexpr int32_t kStandard = -300;
    constexpr int32_t kDaylight = -240;
    const int year = utc.ToCivil().year;
    const int64_t start = UtcMillisOfLocal(year, 3, NthSunday(year, 3, 2), 2, kStandard);
    const int64_t end = UtcMillisOfLocal(year, 11, NthSunday(year, 11, 1), 2, kDaylight);
    const int64_t at = utc.ToUnixMillis();
    return at >= start && at < end ? kDaylight : kStandard;
  };
}

FakeClock::FakeClock(OleDate utcNow, int32_t utcOffsetMinutes)
    : m_utcMillis(utcNow.ToUnixMillis()), m_offsetMinutes(utcOffsetMinutes) {}

int32_t FakeClock::OffsetMinutesAt(OleDate utc) const { return m_rule ? m_rule(utc) : m_offsetMinutes; }

OleDate FakeClock::UtcNow() {
  std::lock_guard lock(m_mutex);
  return OleDate::FromUnixMillis(m_utcMillis);
}

OleDate FakeClock::UtcToLocal(OleDate utc) {
  std::lock_guard lock(m_mutex);
  return OleDate::FromUnixMillis(utc.ToUnixMillis() + OffsetMinutesAt(utc) * kMsPerMinute);
}

OleDate FakeClock::LocalToUtc(OleDate local) {
  std::lock_guard lock(m_mutex);
  const int64_t localMs = local.ToUnixMillis();
  const int64_t guess = localMs - OffsetMinutesAt(local) * kMsPerMinute;
  return OleDate::FromUnixMillis(localMs - OffsetMinutesAt(OleDate::FromUnixMillis(guess)) * kMsPerMinute);
}

int32_t FakeClock::TickCount() {
  std::lock_guard lock(m_mutex);
  return static_cast<int32_t>(m_tick);
}

void FakeClock::Sleep(int32_t milliseconds) {
  if (milliseconds <= 0) return;
  std::lock_guard lock(m_mutex);
  AdvanceLocked(milliseconds);
  m_sleptMillis += milliseconds;
}

void FakeClock::SetUtcNow(OleDate utc) {
  std::lock_guard lock(m_mutex);
  m_utcMillis = utc.ToUnixMillis();
}

void FakeClock::SetLocalNow(OleDate local) { SetUtcNow(LocalToUtc(local)); }

void FakeClock::SetUtcOffsetMinutes(int32_t minutes) {
  std::lock_guard lock(m_mutex);
  m_offsetMinutes = minutes;
  m_rule = nullptr;
}

void FakeClock::SetOffsetRule(OffsetRule rule) {
  std::lock_guard lock(m_mutex);
  m_rule = std::move(rule);
}

void FakeClock::Advance(double seconds) { AdvanceMillis(std::llround(seconds * 1000.0)); }

void FakeClock::AdvanceMillis(int64_t milliseconds) {
  std::lock_guard lock(m_mutex);
  AdvanceLocked(milliseconds);
}

void FakeClock::AdvanceLocked(int64_t milliseconds) {
  m_utcMillis += milliseconds;
  m_tick += static_cast<uint32_t>(milliseconds);  // wraps as the real tick count does
}

void FakeClock::SetTickCount(int32_t tick) {
  std::lock_guard lock(m_mutex);
  m_tick = static_cast<uint32_t>(tick);
}

int64_t FakeClock::SleptMillis() const {
  std::lock_guard lock(m_mutex);
  return m_sleptMillis;
}

ScopedPlatformClock::ScopedPlatformClock(std::shared_ptr<FakeClock> clock) : m_clock(std::move(clock)) {
  Platform::Current().SetClock(m_clock);
}

ScopedPlatformClock::~ScopedPlatformClock() { Platform::Current().SetClock(nullptr); }

}  // namespace korad::testing
