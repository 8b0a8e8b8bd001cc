// The load average as the kernel shows it in /proc/loadavg, read back to the digit.
#include <gtest/gtest.h>

#include <charconv>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/system_facts.h"

namespace korad {
namespace {

std::string LoadAverageText() {
  std::ifstream in("/proc/loadavg");
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

TEST(ProcLoadAverage, ReadsTheThreeAveragesTheKernelShows) {
  const std::shared_ptr<SystemFacts> facts = MakeProcSystemFacts();
  // The kernel moves the averages every five seconds: compare within one reading.
  for (int attempt = 0; attempt < 10; ++attempt) {
    const std::string text = LoadAverageText();
    const LoadAverage load = facts->ReadLoadAverage();
    if (LoadAverageText() != text) continue;
    double expected[3] = {-1, -1, -1};
    const char* at = text.data();
    for (double& value : expected) {
      at = std::from_chars(at, text.data() + text.size(), value).ptr + 1;
    }
    EXPECT_EQ(load.load1, expected[0]) << text;
    EXPECT_EQ(load.load5, expected[1]) << text;
    EXPECT_EQ(load.load15, expected[2]) << text;
    return;
  }
  FAIL() << "/proc/loadavg changed during every attempt";
}

}  // namespace
}  // namespace korad
