// The string builder as the state writers use it: many lines, one text, then reuse.
#include <gtest/gtest.h>

#include <string>

#include "platform/string_builder.h"

namespace korad {
namespace {

TEST(StringBuilder, BuildsAStateFileTextAndIsReusedForTheNext) {
  StringBuilder builder;
  EXPECT_EQ(builder.Length(), 0u);
  EXPECT_EQ(builder.Text(), "");

  std::string expected;
  for (int i = 0; i < 10'000; ++i) {
    const std::string key = "KEY" + std::to_string(i);
    builder.Append(key).Append("=").Append(std::to_string(i * 7)).Append("\r\n");
    expected += key + "=" + std::to_string(i * 7) + "\r\n";
  }
  EXPECT_EQ(builder.Length(), expected.size());
  EXPECT_EQ(builder.Text(), expected);

  const size_t room = builder.Text().capacity();
  builder.Clear();
  EXPECT_EQ(builder.Length(), 0u);
  EXPECT_EQ(builder.Text().capacity(), room) << "the room is kept for the next text";
  builder.Append("REGEDIT4").Append("\r\n").Append("").Append("\r\n");
  EXPECT_EQ(builder.Text(), "REGEDIT4\r\n\r\n");
  std::string withNul("a\0b", 3);
  builder.Append(withNul);
  EXPECT_EQ(builder.Length(), 15u) << "bytes are kept as they are";
}

}  // namespace
}  // namespace korad
