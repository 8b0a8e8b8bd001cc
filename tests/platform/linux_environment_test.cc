// The process's own environment, read through the platform.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "platform/environment.h"

namespace korad {
namespace {

TEST(LinuxEnvironment, ReadsTheProcessItRunsIn) {
  auto environment = MakeLinuxEnvironment();
  EXPECT_EQ(environment->ProgramPath(), std::filesystem::read_symlink("/proc/self/exe").string());
  EXPECT_EQ(environment->Variable("KORAD_SURELY_NEVER_SET"), std::nullopt);
  EXPECT_TRUE(environment->Variable("PATH").has_value());

  std::array<unsigned char, 16> first{}, second{};
  environment->RandomBytes(first);
  environment->RandomBytes(second);
  EXPECT_NE(first, second);
  const WeekdayNames& names = environment->Weekdays();
  EXPECT_GE(names.firstDay, 1);
  EXPECT_LE(names.firstDay, 7);
  EXPECT_FALSE(names.full[0].empty());
  EXPECT_EQ(&names, &environment->Weekdays()) << "read once";
}

}  // namespace
}  // namespace korad
