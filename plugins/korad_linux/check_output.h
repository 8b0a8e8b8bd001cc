// The output of a check program in the common monitoring convention: a first line of
// text, further lines, and performance data after "|":
//
//   DISK OK - 42% free | /=5GB;8;9;0;10 'home dir'=70%;80;90
//   further text
//   more text | load1=0.5;2;4
//   load5=0.3
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace korad {

// One "label=value[UOM];warn;crit;min;max" item; absent fields are empty.
struct PerfDatum {
  std::string label;
  std::string value;  // the number as written, or "U" for undetermined
  std::string unit;
  std::string warn;
  std::string crit;
  std::string min;
  std::string max;
};

struct CheckOutput {
  std::string text;      // the first line before "|", trimmed
  std::string longText;  // the text of the further lines, joined by "\n"
  std::string perfData;  // every performance data part, trimmed, joined by " "
  std::vector<PerfDatum> perf;
};

CheckOutput ParseCheckOutput(std::string_view output);

// Items separated by blanks; a label with blanks is quoted with "'" ('' is a quote mark
// in it). An item without "=" is skipped.
std::vector<PerfDatum> ParsePerfData(std::string_view text);

}  // namespace korad
