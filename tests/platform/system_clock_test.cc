#include <gtest/gtest.h>

#include <ctime>

#include "platform/clock.h"
#include "platform/date_time_converter.h"
#include "support/scoped_time_zone.h"

namespace korad {
namespace {

using testing::ScopedTimeZone;

OleDate At(int year, int month, int day, int hour, int minute = 0, int second = 0, int ms = 0) {
  return *OleDate::FromCivil(year, month, day, hour, minute, second, ms);
}

int64_t Ms(OleDate date) { return date.ToUnixMillis(); }

TEST(SystemClock, KnownOffsetsInWinterAndSummer) {
  ScopedTimeZone zone("America/New_York");
  auto clock = MakeSystemClock();
  EXPECT_EQ(Ms(clock->UtcToLocal(At(2024, 1, 15, 12, 0, 0, 250))), Ms(At(2024, 1, 15, 7, 0, 0, 250)));
  EXPECT_EQ(Ms(clock->UtcToLocal(At(2024, 7, 15, 12))), Ms(At(2024, 7, 15, 8)));
  EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 1, 15, 7, 0, 0, 250))), Ms(At(2024, 1, 15, 12, 0, 0, 250)));
  EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 7, 15, 8))), Ms(At(2024, 7, 15, 12)));
  // Before 1970 and before the date encoding's zero, where time_t and days go negative.
  EXPECT_EQ(Ms(clock->UtcToLocal(At(1960, 1, 15, 3, 30))), Ms(At(1960, 1, 14, 22, 30)));
  EXPECT_EQ(Ms(clock->LocalToUtc(At(1960, 1, 14, 22, 30))), Ms(At(1960, 1, 15, 3, 30)));
}

// Every hour of a year with a daylight saving change both ways: local and back gives
// the same instant, except the first pass through the repeated autumn hour, which reads
// back as the second pass.
TEST(SystemClock, RoundTripThroughAYear) {
  ScopedTimeZone zone("America/New_York");
  auto clock = MakeSystemClock();
  const int64_t foldStart = Ms(At(2024, 11, 3, 5));  // 01:00 daylight time
  const int64_t foldEnd = Ms(At(2024, 11, 3, 6));
  int folded = 0;
  for (OleDate utc = At(2024, 1, 1, 0, 17); utc < At(2025, 1, 1, 0); utc = utc.AddSeconds(3600)) {
    const int64_t back = Ms(clock->LocalToUtc(clock->UtcToLocal(utc)));
    if (Ms(utc) >= foldStart && Ms(utc) < foldEnd) {
      ++folded;
      EXPECT_EQ(back, Ms(utc) + 3'600'000);
    } else {
      ASSERT_EQ(back, Ms(utc)) << DateTimeConverter::ToPlainText(utc);
    }
  }
  EXPECT_EQ(folded, 1);
}

// A skipped local time reads with the offset before the jump, a repeated one with the
// offset after it, west and east of Greenwich alike.
TEST(SystemClock, GapsAndFoldsOnBothSidesOfGreenwich) {
  auto clock = MakeSystemClock();
  {
    ScopedTimeZone zone("America/New_York");
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 3, 10, 2, 30))), Ms(At(2024, 3, 10, 7, 30)));
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 11, 3, 1, 30))), Ms(At(2024, 11, 3, 6, 30)));
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 3, 10, 1, 59, 59))), Ms(At(2024, 3, 10, 6, 59, 59)));
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 3, 10, 3, 0))), Ms(At(2024, 3, 10, 7, 0)));
  }
  {
    ScopedTimeZone zone("Europe/Berlin");
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 3, 31, 2, 30))), Ms(At(2024, 3, 31, 1, 30)));
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 10, 27, 2, 30))), Ms(At(2024, 10, 27, 1, 30)));
    EXPECT_EQ(Ms(clock->LocalToUtc(At(2024, 10, 27, 1, 30))), Ms(At(2024, 10, 26, 23, 30)));
    EXPECT_EQ(Ms(clock->UtcToLocal(At(2024, 7, 1, 12))), Ms(At(2024, 7, 1, 14)));
  }
}

TEST(SystemClock, NowAndTickCountFollowTheMachine) {
  auto clock = MakeSystemClock();
  const int64_t before = static_cast<int64_t>(time(nullptr)) * 1000;
  const OleDate first = clock->UtcNow();
  EXPECT_LE(before, Ms(first));
  EXPECT_LT(Ms(first), before + 2000);

  const int32_t tick = clock->TickCount();
  clock->Sleep(30);
  const uint32_t elapsed = static_cast<uint32_t>(clock->TickCount()) - static_cast<uint32_t>(tick);
  const int64_t nowElapsed = Ms(clock->UtcNow()) - Ms(first);
  EXPECT_GE(elapsed, 30u);
  EXPECT_LT(elapsed, 5000u);
  EXPECT_GE(nowElapsed, 29);  // whole milliseconds, not seconds
  EXPECT_LT(nowElapsed, 5000);

  int32_t last = clock->TickCount();
  for (int i = 0; i < 1000; ++i) {
    const int32_t next = clock->TickCount();
    ASSERT_LT(static_cast<uint32_t>(next) - static_cast<uint32_t>(last), 1000u);  // never backwards
    last = next;
  }
}

}  // namespace
}  // namespace korad
