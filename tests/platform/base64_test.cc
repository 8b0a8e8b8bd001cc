// Base64 in both alphabets: every byte string round-trips, and the URL form has one spelling.
#include <gtest/gtest.h>

#include <string>

#include "platform/base64.h"

namespace korad {
namespace {

TEST(Base64, EveryLengthAndByteRoundTripsInBothAlphabets) {
  std::string bytes;
  for (int i = 0; i < 300; ++i) {
    bytes.push_back(static_cast<char>(i * 151 % 256));
    const std::string standard = Base64Encode(bytes);
    const std::string url = Base64UrlEncode(bytes);
    ASSERT_EQ(Base64Decode(standard), bytes) << i;
    ASSERT_EQ(Base64UrlDecode(url), bytes) << i;
    ASSERT_EQ(url.find_first_of("+/="), std::string::npos) << url;
  }
  EXPECT_EQ(Base64Encode("Ma"), "TWE=");
  EXPECT_EQ(Base64UrlEncode("\xfb\xff"), "-_8");
}

TEST(Base64, UrlFormRefusesEverySpellingButTheCanonicalOne) {
  EXPECT_EQ(Base64UrlDecode("-_8"), std::string("\xfb\xff"));
  EXPECT_FALSE(Base64UrlDecode("-_9")) << "unused bits set";
  EXPECT_FALSE(Base64UrlDecode("-_8=")) << "padding";
  EXPECT_FALSE(Base64UrlDecode("+/8")) << "standard alphabet";
  EXPECT_FALSE(Base64UrlDecode("-_ 8")) << "blank";
  EXPECT_FALSE(Base64UrlDecode("A")) << "no encoding has this length";
  EXPECT_EQ(Base64UrlDecode(""), std::string());
  EXPECT_EQ(Base64Decode("TW\nE="), "Ma") << "the standard form reads wrapped text";
}

}  // namespace
}  // namespace korad
