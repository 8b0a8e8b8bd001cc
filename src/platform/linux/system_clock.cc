// The machine's clock: CLOCK_REALTIME for the date, CLOCK_BOOTTIME for the tick count and
// the C library's zone data for local time.
//
// Conversions use localtime_r only. mktime re-checks /etc/localtime on every call when TZ
// is unset (a stat per call), which is too slow for schedules that convert on each tick;
// localtime_r uses the zone loaded last. To follow a change of the system zone without a
// restart, the zone is reloaded (tzset) at most once a minute.
#include <atomic>
#include <cerrno>
#include <ctime>
#include <mutex>

#include "platform/clock.h"

namespace korad {
namespace {

constexpr int64_t kMsPerSecond = 1000;
constexpr int64_t kSecondsPerDay = 86'400;
constexpr int64_t kZoneReloadMs = 60'000;

int64_t MonotonicMillis(clockid_t id) {
  timespec ts{};
  clock_gettime(id, &ts);
  return static_cast<int64_t>(ts.tv_sec) * kMsPerSecond + ts.tv_nsec / 1'000'000;
}

int64_t FloorDiv(int64_t a, int64_t b) {
  int64_t q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

class SystemClock final : public Clock {
 public:
  OleDate UtcNow() override { return OleDate::FromUnixMillis(MonotonicMillis(CLOCK_REALTIME)); }

  OleDate UtcToLocal(OleDate utc) override {
    const int64_t ms = utc.ToUnixMillis();
    const int64_t offset = OffsetAt(FloorDiv(ms, kMsPerSecond));
    return OleDate::FromUnixMillis(ms + offset * kMsPerSecond);
  }

  // A local time names one instant except around a transition:
  // - in a fold (the hour that repeats when clocks go back) it names two; the offset in
  //   force after the transition wins, so 01:30 on the autumn night in New York is 01:30
  //   standard time;
  // - in a gap (the hour skipped when clocks go forward) it names none; the offset in
  //   force before the transition is used, so 02:30 on the spring night reads as 03:30
  //   daylight time, the same distance past the jump.
  // Both match what glibc's mktime does with tm_isdst = -1, without its per-call cost.
  // The offsets one day either side of the local time (read as if it were UTC) bracket
  // the instant, since no zone is a day away from UTC; this assumes at most one
  // transition within those two days, which holds for every zone in use.
  OleDate LocalToUtc(OleDate local) override {
    const int64_t ms = local.ToUnixMillis();
    const int64_t localSeconds = FloorDiv(ms, kMsPerSecond);
    const int64_t subMs = ms - localSeconds * kMsPerSecond;
    const int64_t before = OffsetAt(localSeconds - kSecondsPerDay);
    const int64_t after = OffsetAt(localSeconds + kSecondsPerDay);
    int64_t offset = before;
    if (before != after) {
      const bool afterFits = OffsetAt(localSeconds - after) == after;
      offset = afterFits ? after : before;
    }
    return OleDate::FromUnixMillis((localSeconds - offset) * kMsPerSecond + subMs);
  }

  int32_t TickCount() override {
    return static_cast<int32_t>(static_cast<uint32_t>(MonotonicMillis(CLOCK_BOOTTIME)));
  }

  void Sleep(int32_t milliseconds) override {
    if (milliseconds <= 0) return;
    timespec left{milliseconds / 1000, static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
  }

 private:
  // Seconds east of UTC in force at a UTC instant.
  int64_t OffsetAt(int64_t utcSeconds) {
    ReloadZoneNowAndThen();
    const time_t t = static_cast<time_t>(utcSeconds);
    tm parts{};
    if (localtime_r(&t, &parts) == nullptr) return 0;
    return parts.tm_gmtoff;
  }

  void ReloadZoneNowAndThen() {
    const int64_t now = MonotonicMillis(CLOCK_MONOTONIC_COARSE);
    if (now - m_lastZoneLoad.load(std::memory_order_relaxed) < kZoneReloadMs) return;
    std::lock_guard lock(m_zoneMutex);
    if (now - m_lastZoneLoad.load(std::memory_order_relaxed) < kZoneReloadMs) return;
    tzset();
    m_lastZoneLoad.store(now, std::memory_order_relaxed);
  }

  std::mutex m_zoneMutex;
  std::atomic<int64_t> m_lastZoneLoad{-kZoneReloadMs};
};

}  // namespace

std::shared_ptr<Clock> MakeSystemClock() { return std::make_shared<SystemClock>(); }

}  // namespace korad
