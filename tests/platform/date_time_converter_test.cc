#include "platform/date_time_converter.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/fake_clock.h"

namespace korad {
namespace {

using testing::FakeClock;
using testing::ScopedPlatformClock;

OleDate At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int ms = 0) {
  return *OleDate::FromCivil(year, month, day, hour, minute, second, ms);
}

int64_t Ms(OleDate date) { return date.ToUnixMillis(); }

// Both texts of a date read back as the same date, across the range and either side of
// the encoding's zero (1899-12-30), where the day count turns negative.
TEST(DateTimeConverter, TextsRoundTrip) {
  struct Case {
    OleDate date;
    const char* universal;
  };
  const Case cases[] = {
      {At(2024, 3, 5, 14, 30, 9), "2024-03-05T14:30:09Z"},    {At(100, 1, 1), "0100-01-01T00:00:00Z"},
      {At(9999, 12, 31, 23, 59, 59), "9999-12-31T23:59:59Z"}, {OleDate(0.0), "1899-12-30T00:00:00Z"},
      {At(1850, 6, 15, 18, 45, 30), "1850-06-15T18:45:30Z"},  {At(2000, 2, 29, 12), "2000-02-29T12:00:00Z"},
  };
  for (const Case& c : cases) {
    const std::string universal = DateTimeConverter::ToUniversalText(c.date);
    EXPECT_EQ(universal, c.universal);
    std::string plain = c.universal;
    plain[10] = ' ';
    plain.pop_back();
    EXPECT_EQ(DateTimeConverter::ToPlainText(c.date), plain);
    for (const std::string& text : {universal, plain}) {
      const auto back = DateTimeConverter::FromText(text);
      ASSERT_TRUE(back.has_value()) << text;
      EXPECT_EQ(Ms(*back), Ms(c.date)) << text;
    }
  }
}

TEST(DateTimeConverter, FractionsOfASecond) {
  EXPECT_EQ(Ms(*DateTimeConverter::FromText("2024-03-05T14:30:09.250Z")), Ms(At(2024, 3, 5, 14, 30, 9, 250)));
  EXPECT_EQ(Ms(*DateTimeConverter::FromText("2024-03-05 14:30:09.5")), Ms(At(2024, 3, 5, 14, 30, 9, 500)));
  EXPECT_EQ(Ms(*DateTimeConverter::FromText("2024-03-05 14:30:09.123456789")),
            Ms(At(2024, 3, 5, 14, 30, 9, 123)));
  EXPECT_EQ(Ms(*DateTimeConverter::FromText("2024-12-31T23:59:59.9996Z")), Ms(At(2025, 1, 1)));
  EXPECT_FALSE(DateTimeConverter::FromText("9999-12-31 23:59:59.9999").has_value());
  // Texts carry whole seconds, rounded to the nearest.
  EXPECT_EQ(DateTimeConverter::ToPlainText(At(2024, 3, 5, 14, 30, 9, 499)), "2024-03-05 14:30:09");
  EXPECT_EQ(DateTimeConverter::ToUniversalText(At(2024, 12, 31, 23, 59, 59, 500)), "2025-01-01T00:00:00Z");
  EXPECT_EQ(DateTimeConverter::ToPlainText(At(1850, 6, 15, 18, 45, 30, 700)), "1850-06-15 18:45:31");
}

TEST(DateTimeConverter, RefusesOtherTexts) {
  const char* refused[] = {
      "",
      "2024-03-05",
      "2024-03-05T14:30:09",   // universal form without its zone
      "2024-03-05 14:30:09Z",  // plain form with one
      "2024-03-05t14:30:09z",
      "2024-3-05 14:30:09",
      "2024/03/05 14:30:09",
      "2024-03-05 14:30",
      "2024-02-30 00:00:00",
      "2023-02-29 00:00:00",
      "2024-03-05 24:00:00",
      "2024-03-05 14:60:00",
      "2024-03-05 14:30:60",
      "0099-12-31 00:00:00",
      " 2024-03-05 14:30:09",
      "2024-03-05 14:30:09 ",
      "2024-03-05 14:30:09.",
      "2024-03-05 14:30:09.1234567890",
      "2024-03-05T14:30:09.Z",
      "2024-03-05 14:30:09+01:00",
      "+024-03-05 14:30:09",
      "3/5/2024 2:30:09 PM",
  };
  for (const char* text : refused) EXPECT_FALSE(DateTimeConverter::FromText(text).has_value()) << text;
}

// The hand-written digits against the parts they come from, across the range and at every
// rounding edge: the text must be the whole-second parts, whichever overload wrote it.
TEST(DateTimeConverter, TextsMatchTheRoundedParts) {
  DateTimeConverter::TextBuffer buffer;
  const OleDate first = At(100, 1, 1);
  for (int step = 0; step < 4000; ++step) {
    // Odd steps through the range, landing on all kinds of milliseconds.
    const OleDate date = first.AddSeconds(step * 78'901'234.567 + (step % 1000));
    if (!date.IsValid()) break;
    const int64_t ms = Ms(date);
    const int64_t rest = ((ms % 1000) + 1000) % 1000;
    const CivilTime c = OleDate::FromUnixMillis(ms - rest + (rest >= 500 ? 1000 : 0)).ToCivil();
    if (c.year > 9999) continue;
    char expected[32];
    std::snprintf(expected, sizeof expected, "%04d-%02d-%02dT%02d:%02d:%02dZ", c.year, c.month, c.day, c.hour,
                  c.minute, c.second);
    ASSERT_EQ(DateTimeConverter::ToUniversalText(date, buffer), expected) << step;
    ASSERT_EQ(DateTimeConverter::ToUniversalText(date), expected) << step;
  }
  // The last half second of the range doesn't round out of it.
  EXPECT_EQ(DateTimeConverter::ToUniversalText(At(9999, 12, 31, 23, 59, 59, 700), buffer), "9999-12-31T23:59:59Z");
}

TEST(DateTimeConverter, ConvertsThroughItsClock) {
  FakeClock clock(FakeClock::DefaultStart(), -300);
  DateTimeConverter converter(clock);
  const OleDate utc = At(2024, 1, 15, 12);
  EXPECT_EQ(Ms(converter.UtcToLocal(utc)), Ms(At(2024, 1, 15, 7)));
  EXPECT_EQ(Ms(converter.LocalToUtc(At(2024, 1, 15, 7))), Ms(utc));

  ScopedPlatformClock platformClock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 60));
  DateTimeConverter platformConverter;
  EXPECT_EQ(Ms(platformConverter.UtcToLocal(utc)), Ms(At(2024, 1, 15, 13)));
}

}  // namespace
}  // namespace korad
