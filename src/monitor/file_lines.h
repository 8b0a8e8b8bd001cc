// The lines of a text file as the engine reads its own small files: a line ends at LF or
// CR LF, the end is not part of it, and a last line without an end still counts.
#pragma once
#include <string_view>
#include <vector>

namespace korad {

inline std::vector<std::string_view> FileLines(std::string_view content) {
  std::vector<std::string_view> lines;
  size_t start = 0;
  while (start < content.size()) {
    size_t end = content.find('\n', start);
    if (end == std::string_view::npos) end = content.size();
    std::string_view line = content.substr(start, end - start);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    lines.push_back(line);
    start = end + 1;
  }
  return lines;
}

}  // namespace korad
