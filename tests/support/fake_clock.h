// A clock that tests drive: the date, the zone offset and the tick count move only when
// the test says so (or when code under test sleeps).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "platform/clock.h"

namespace korad::testing {

class FakeClock final : public Clock {
 public:
  // Minutes east of UTC in force at a UTC instant.
  using OffsetRule = std::function<int32_t(OleDate utc)>;

  // 2024-01-15 12:00:00 UTC, a Monday, when no start is given.
  static OleDate DefaultStart();
  // New York's rule since 2007: -300 minutes, -240 from the second Sunday of March
  // 02:00 to the first Sunday of November 02:00 local time.
  static OffsetRule UsEasternRule();

  explicit FakeClock(OleDate utcNow = DefaultStart(), int32_t utcOffsetMinutes = 0);

  OleDate UtcNow() override;
  OleDate UtcToLocal(OleDate utc) override;
  // Applies the offset in force at (local - offset at local read as UTC); enough for
  // tests away from a rule's transitions.
  OleDate LocalToUtc(OleDate local) override;
  int32_t TickCount() override;
  // Advances the time instead of blocking.
  void Sleep(int32_t milliseconds) override;

  // Moves the date alone, as an adjustment of the wall clock would; the tick stays.
  void SetUtcNow(OleDate utc);
  // Sets the local time; the UTC time follows through the offset in force.
  void SetLocalNow(OleDate local);
  // A fixed offset; drops any rule.
  void SetUtcOffsetMinutes(int32_t minutes);
  void SetOffsetRule(OffsetRule rule);
  // Moves the date and the tick count together.
  void Advance(double seconds);
  void AdvanceMillis(int64_t milliseconds);
  // The tick count wraps past INT32_MAX like the real one; set it near there to test that.
  void SetTickCount(int32_t tick);
  // Total milliseconds that callers asked to sleep.
  int64_t SleptMillis() const;

 private:
  // The caller holds m_mutex.
  int32_t OffsetMinutesAt(OleDate utc) const;
  void AdvanceLocked(int64_t milliseconds);

  mutable std::mutex m_mutex;
  int64_t m_utcMillis;
  uint32_t m_tick = 1'000'000;
  int32_t m_offsetMinutes;
  OffsetRule m_rule;
  int64_t m_sleptMillis = 0;
};

// Installs a fake clock as the platform's clock for the life of a scope; the next use
// after it ends makes the system clock again (an earlier replacement is not restored).
class ScopedPlatformClock {
 public:
  explicit ScopedPlatformClock(std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>());
  ~ScopedPlatformClock();
  ScopedPlatformClock(const ScopedPlatformClock&) = delete;
  ScopedPlatformClock& operator=(const ScopedPlatformClock&) = delete;

  FakeClock& Fake() { return *m_clock; }
  FakeClock* operator->() { return m_clock.get(); }

 private:
  std::shared_ptr<FakeClock> m_clock;
};

}  // namespace korad::testing
