// OleDate: the calendar behind every date of the library, including the odd encoding of
// the days before 1899-12-30 and the host's month arithmetic.
#include <gtest/gtest.h>

#include <tuple>

#include "contracts/error.h"
#include "contracts/ole_date.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::NumberOf;

OleDate Civil(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  return *OleDate::FromCivil(y, mo, d, h, mi, s);
}

TEST(OleDate, CivilRoundTripAcrossTheEpoch) {
  struct Case {
    int y, mo, d, h, mi, s;
    double days;
  };
  const Case cases[] = {
      {1899, 12, 30, 0, 0, 0, 0.0},        {1899, 12, 30, 6, 0, 0, 0.25},
      {1899, 12, 31, 0, 0, 0, 1.0},        {1900, 1, 1, 12, 0, 0, 2.5},
      {1899, 12, 29, 6, 0, 0, -1.25},      {1899, 12, 29, 18, 0, 0, -1.75},
      {1899, 12, 29, 0, 0, 0, -1.0},       {1899, 12, 28, 12, 0, 0, -2.5},
      {2024, 2, 29, 0, 0, 0, 45351.0},     {2026, 3, 5, 18, 0, 0, 46086.75},
      {100, 1, 1, 0, 0, 0, -657434.0},     {9999, 12, 31, 0, 0, 0, 2958465.0},
  };
  for (const Case& c : cases) {
    const auto date = OleDate::FromCivil(c.y, c.mo, c.d, c.h, c.mi, c.s);
    ASSERT_TRUE(date.has_value()) << c.y << "-" << c.mo << "-" << c.d;
    EXPECT_DOUBLE_EQ(date->Days(), c.days) << c.y << "-" << c.mo << "-" << c.d;
    const CivilTime b = OleDate(c.days).ToCivil();
    EXPECT_EQ(std::tie(b.year, b.month, b.day, b.hour, b.minute, b.second), std::tie(c.y, c.mo, c.d, c.h, c.mi, c.s))
        << c.days;
  }
  EXPECT_FALSE(OleDate::FromCivil(2025, 2, 29).has_value());
  EXPECT_FALSE(OleDate::FromCivil(2026, 4, 31).has_value());
  EXPECT_FALSE(OleDate::FromCivil(2026, 1, 1, 24).has_value());
  EXPECT_FALSE(OleDate::FromCivil(99, 12, 31).has_value());
  EXPECT_FALSE(OleDate::FromCivil(10000, 1, 1).has_value());
}

TEST(OleDate, OrderAndArithmeticFollowTheTimeLineBeforeTheEpoch) {
  // -1.75 (18:00) is later than -1.25 (06:00) on the same day, though smaller as a number.
  EXPECT_LT(OleDate(-1.25), OleDate(-1.75));
  EXPECT_LT(OleDate(-1.75), OleDate(0.0));
  EXPECT_EQ(OleDate(-1.25).AddSeconds(12 * 3600.0), OleDate(-1.75));
  EXPECT_EQ(OleDate(-1.75).AddSeconds(6 * 3600.0), OleDate(0.0));
  EXPECT_DOUBLE_EQ(OleDate(-1.25).SecondsUntil(OleDate(0.25)), 24 * 3600.0);
  EXPECT_EQ(OleDate(-1.75).DatePart(), OleDate(-1.0));
  EXPECT_DOUBLE_EQ(OleDate(-1.75).TimePart().Days(), 0.75);
  EXPECT_TRUE(OleDate(2958465.5).IsValid());
  EXPECT_FALSE(OleDate(2958466.0).IsValid());
  EXPECT_TRUE(OleDate(-657434.5).IsValid());
  EXPECT_FALSE(OleDate(-657435.0).IsValid());
}

TEST(OleDate, SerialRollsMonthsAndDaysOver) {
  EXPECT_EQ(OleDate::FromSerial(2026, 13, 1), Civil(2027, 1, 1));
  EXPECT_EQ(OleDate::FromSerial(2026, 3, 0), Civil(2026, 2, 28));
  EXPECT_EQ(OleDate::FromSerial(2026, 0, 15), Civil(2025, 12, 15));
  EXPECT_EQ(OleDate::FromSerial(2026, 1, 32, 25, 0, 0), Civil(2026, 2, 2, 1));
  EXPECT_FALSE(OleDate::FromSerial(9999, 13, 1).has_value());
}

TEST(DateAdd, MonthStepsClampToTheLastDayAndDayAndTimeStepsOverflowAtTheEnds) {
  EXPECT_EQ(DateAdd("m", 1, Civil(2026, 1, 31)), Civil(2026, 2, 28));
  EXPECT_EQ(DateAdd("m", 1, Civil(2024, 1, 31, 9, 15)), Civil(2024, 2, 29, 9, 15));
  EXPECT_EQ(DateAdd("M", -1, Civil(2026, 3, 31)), Civil(2026, 2, 28));
  EXPECT_EQ(DateAdd("q", 1, Civil(2026, 11, 30)), Civil(2027, 2, 28));
  EXPECT_EQ(DateAdd("yyyy", 1, Civil(2024, 2, 29)), Civil(2025, 2, 28));
  EXPECT_EQ(DateAdd("m", 2, Civil(1899, 11, 30, 6)), Civil(1900, 1, 30, 6));
  EXPECT_EQ(DateAdd("m", 1.5, Civil(2026, 1, 10)), Civil(2026, 3, 10)) << "1.5 rounds to 2";
  EXPECT_EQ(DateAdd("m", 2.5, Civil(2026, 1, 10)), Civil(2026, 3, 10)) << "2.5 rounds to 2";

  EXPECT_EQ(DateAdd("d", -1, Civil(2026, 3, 1, 8)), Civil(2026, 2, 28, 8));
  EXPECT_EQ(DateAdd("d", -1, Civil(1900, 1, 1)), Civil(1899, 12, 31));
  EXPECT_EQ(DateAdd("d", -1, Civil(1899, 12, 30, 6)), Civil(1899, 12, 29, 6));
  EXPECT_EQ(DateAdd("ww", 2, Civil(2026, 12, 25)), Civil(2027, 1, 8));
  EXPECT_EQ(DateAdd("h", 30, Civil(2026, 3, 5, 20)), Civil(2026, 3, 7, 2));
  EXPECT_EQ(DateAdd("n", -90, Civil(2026, 3, 5, 0, 30)), Civil(2026, 3, 4, 23));
  EXPECT_EQ(DateAdd("s", 86400, Civil(2026, 3, 5)), Civil(2026, 3, 6));
  EXPECT_EQ(NumberOf([] { DateAdd("x", 1, OleDate(1.0)); }), kErrInvalidCall);
  EXPECT_EQ(NumberOf([] { DateAdd("yyyy", 1, Civil(9999, 6, 1)); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { DateAdd("d", 1, Civil(9999, 12, 31)); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { DateAdd("d", 1e300, OleDate(1.0)); }), kErrOverflow);
  EXPECT_EQ(NumberOf([] { DateAdd("s", -1e15, OleDate(1.0)); }), kErrOverflow);
}

TEST(DateDiff, CountsBoundariesCrossed) {
  const OleDate lateEvening = Civil(2026, 3, 5, 23, 59, 59);
  const OleDate justAfter = Civil(2026, 3, 6, 0, 0, 1);
  EXPECT_EQ(DateDiff("d", lateEvening, justAfter), 1);
  EXPECT_EQ(DateDiff("h", lateEvening, justAfter), 1);
  EXPECT_EQ(DateDiff("s", lateEvening, justAfter), 2);
  EXPECT_EQ(DateDiff("d", justAfter, lateEvening), -1);
  EXPECT_EQ(DateDiff("yyyy", Civil(2025, 12, 31), Civil(2026, 1, 1)), 1);
  EXPECT_EQ(DateDiff("m", Civil(2026, 1, 31), Civil(2026, 2, 1)), 1);
  EXPECT_EQ(DateDiff("q", Civil(2026, 3, 31), Civil(2026, 4, 1)), 1);
  EXPECT_EQ(DateDiff("n", Civil(2026, 3, 5, 10, 0, 59), Civil(2026, 3, 5, 10, 1, 0)), 1);
  // "w" counts whole weeks; "ww" counts Sundays crossed (2026-03-08 is a Sunday).
  EXPECT_EQ(DateDiff("w", Civil(2026, 3, 5), Civil(2026, 3, 18)), 1);
  EXPECT_EQ(DateDiff("ww", Civil(2026, 3, 7), Civil(2026, 3, 8)), 1);
  EXPECT_EQ(DateDiff("ww", Civil(2026, 3, 8), Civil(2026, 3, 14)), 0);
  EXPECT_EQ(DateDiff("d", Civil(1899, 12, 29, 18), Civil(1899, 12, 30, 6)), 1);
  EXPECT_EQ(DateDiff("h", Civil(1899, 12, 29, 18), Civil(1899, 12, 30, 6)), 12);
  EXPECT_EQ(NumberOf([] { DateDiff("fortnight", OleDate(), OleDate()); }), kErrInvalidCall);
}

TEST(OleDate, WeekdayAndUnixMillis) {
  struct Case {
    OleDate date;
    int weekday;
  };
  const Case cases[] = {{Civil(1899, 12, 30), 7}, {Civil(1899, 12, 31), 1}, {Civil(1899, 12, 29, 18), 6},
                        {Civil(1970, 1, 1), 5},   {Civil(2026, 3, 8), 1},   {Civil(2026, 3, 5, 23), 5}};
  for (const Case& c : cases) {
    EXPECT_EQ(Weekday(c.date), c.weekday) << c.date.Days();
    EXPECT_EQ(c.date.ToCivil().weekday, c.weekday) << c.date.Days();
  }

  EXPECT_EQ(Civil(1970, 1, 1).ToUnixMillis(), 0);
  EXPECT_EQ(OleDate::FromUnixMillis(0), Civil(1970, 1, 1));
  const int64_t march5 = 1772719200123;  // 2026-03-05 14:00:00.123 UTC
  const OleDate fromMillis = OleDate::FromUnixMillis(march5);
  EXPECT_EQ(fromMillis.ToUnixMillis(), march5);
  const CivilTime c = fromMillis.ToCivil();
  EXPECT_EQ(std::make_tuple(c.year, c.month, c.day, c.hour, c.millisecond), std::make_tuple(2026, 3, 5, 14, 123));
  EXPECT_EQ(Civil(1899, 12, 29, 6).ToUnixMillis(), -2209248000000 + 6 * 3600000LL);
  EXPECT_EQ(OleDate::FromUnixMillis(-2209161600000 - 18 * 3600000LL), OleDate(-1.25));
}

}  // namespace
}  // namespace korad
