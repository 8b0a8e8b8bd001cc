// Base64 in both alphabets: every byte string round-trips, the standard form reads wrapped
// text, and the URL form has one spelling.
#include <gtest/gtest.h>

#include <string>

#include "platform/base64.h"

namespace korad {
namespace {

TEST(Base64, EveryLengthAndByteRoundTripsAndOnlyRealEncodingsDecode) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    bytes.push_back(static_cast<char>(i * 151 % 256));
    const std::string url = Base64UrlEncode(bytes);
    ASSERT_EQ(Base64Decode(Base64Encode(bytes)), bytes) << i;
    ASSERT_EQ(Base64UrlDecode(url), bytes) << i;
    ASSERT_EQ(url.find_first_of("+/="), std::string::npos) << url;
  }
  EXPECT_EQ(Base64Encode("Ma"), "TWE=");
  EXPECT_EQ(Base64Encode("ABCDE"), "QUJDREU=");
  EXPECT_EQ(Base64Decode("QUJD\r\nREU="), "ABCDE") << "wrapped text reads";
  EXPECT_EQ(Base64Decode("TW\nE="), "Ma");
  for (const char* bad : {"A", "AB=", "A===", "AB==CD==", "AB*D", "QUJDREU=X"}) {
    EXPECT_FALSE(Base64Decode(bad).has_value()) << bad;
  }

  EXPECT_EQ(Base64UrlEncode("\xfb\xff"), "-_8");
  EXPECT_EQ(Base64UrlDecode("-_8"), std::string("\xfb\xff"));
  EXPECT_EQ(Base64UrlDecode(""), std::string());
  // Unused bits set, padding, the standard alphabet, a blank, a length no encoding has.
  for (const char* bad : {"-_9", "-_8=", "+/8", "-_ 8", "A"}) {
    EXPECT_FALSE(Base64UrlDecode(bad).has_value()) << bad;
  }
}

}  // namespace
}  // namespace korad
