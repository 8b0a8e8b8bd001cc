// Each reader of one date text refuses the other form: the state file tells dates from
// other values by the universal reader's refusal.
#include <gtest/gtest.h>

#include "platform/date_time_converter.h"

namespace korad {
namespace {

TEST(DateTextForms, EachReaderTakesItsOwnFormOnly) {
  const int64_t expected = OleDate::FromCivil(2024, 3, 5, 14, 30, 9, 250)->ToUnixMillis();
  EXPECT_EQ(DateTimeConverter::FromUniversalText("2024-03-05T14:30:09.25Z")->ToUnixMillis(), expected);
  EXPECT_EQ(DateTimeConverter::FromPlainText("2024-03-05 14:30:09.25")->ToUnixMillis(), expected);
  EXPECT_FALSE(DateTimeConverter::FromUniversalText("2024-03-05 14:30:09").has_value());
  EXPECT_FALSE(DateTimeConverter::FromPlainText("2024-03-05T14:30:09Z").has_value());
  EXPECT_FALSE(DateTimeConverter::FromUniversalText("2024-03-05T14:30:09").has_value());
  EXPECT_FALSE(DateTimeConverter::FromPlainText("2024-03-05 14:30:09Z").has_value());
}

}  // namespace
}  // namespace korad
