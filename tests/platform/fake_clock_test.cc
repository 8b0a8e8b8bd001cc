#include "support/fake_clock.h"

#include <gtest/gtest.h>

#include <climits>

#include "platform/platform.h"
#include "support/scoped_time_zone.h"

namespace korad {
namespace {

using testing::FakeClock;
using testing::ScopedPlatformClock;

int64_t Ms(OleDate date) { return date.ToUnixMillis(); }

TEST(FakeClock, AdvanceSleepAndTickMoveTogetherAndAFixedOffsetHolds) {
  FakeClock clock;
  const int64_t start = Ms(clock.UtcNow());
  const int32_t tick = clock.TickCount();
  clock.Advance(90.5);
  clock.Sleep(250);
  EXPECT_EQ(Ms(clock.UtcNow()) - start, 90'750);
  EXPECT_EQ(clock.TickCount() - tick, 90'750);
  EXPECT_EQ(clock.SleptMillis(), 250);

  clock.SetUtcNow(FakeClock::DefaultStart());  // the wall clock moves, the tick doesn't
  EXPECT_EQ(Ms(clock.UtcNow()), start);
  EXPECT_EQ(clock.TickCount() - tick, 90'750);

  clock.SetTickCount(INT32_MAX - 5);
  clock.AdvanceMillis(10);
  EXPECT_EQ(clock.TickCount(), INT32_MIN + 4);

  FakeClock east(FakeClock::DefaultStart(), 120);
  EXPECT_EQ(Ms(east.LocalNow()) - Ms(east.UtcNow()), 7'200'000);
  const OleDate local = *OleDate::FromCivil(2024, 5, 1, 9, 30);
  EXPECT_EQ(Ms(east.LocalToUtc(local)), Ms(local) - 7'200'000);
  east.SetLocalNow(local);
  EXPECT_EQ(Ms(east.LocalNow()), Ms(local));
}

// The fake's New York rule agrees with the system's zone data every six hours over three
// years, transitions included.
TEST(FakeClock, UsEasternRuleMatchesTheZoneData) {
  testing::ScopedTimeZone zone("America/New_York");
  auto system = MakeSystemClock();
  FakeClock fake;
  fake.SetOffsetRule(FakeClock::UsEasternRule());
  for (OleDate utc = *OleDate::FromCivil(2023, 1, 1); utc < *OleDate::FromCivil(2026, 1, 1);
       utc = utc.AddSeconds(6 * 3600)) {
    ASSERT_EQ(Ms(fake.UtcToLocal(utc)), Ms(system->UtcToLocal(utc))) << Ms(utc);
  }
  // Either side of the spring jump, to the minute.
  const OleDate jump = *OleDate::FromCivil(2024, 3, 10, 7, 0);
  EXPECT_EQ(Ms(fake.UtcToLocal(jump.AddSeconds(-60))), Ms(*OleDate::FromCivil(2024, 3, 10, 1, 59)));
  EXPECT_EQ(Ms(fake.UtcToLocal(jump)), Ms(*OleDate::FromCivil(2024, 3, 10, 3, 0)));
}

TEST(ScopedPlatformClock, InstallsTheFakeForAScope) {
  {
    ScopedPlatformClock clock;
    EXPECT_EQ(&Platform::Current().GetClock(), &clock.Fake());
    clock->Advance(3600);
    EXPECT_EQ(Ms(Platform::Current().GetClock().UtcNow()), Ms(FakeClock::DefaultStart()) + 3'600'000);
  }
  const int64_t realNow = static_cast<int64_t>(time(nullptr)) * 1000;
  EXPECT_NEAR(static_cast<double>(Ms(Platform::Current().GetClock().UtcNow())), static_cast<double>(realNow),
              5000.0);
}

}  // namespace
}  // namespace korad
