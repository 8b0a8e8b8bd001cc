// The parts of the file system contract that don't touch the machine.
#include "platform/file_system.h"

#include <algorithm>
#include <cctype>

namespace korad {
namespace {

bool SameLetter(char a, char b) {
  return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
}

// "*" and "?" wildcards, ASCII case ignored. Backtracks only to the last "*", which is
// enough for a glob and keeps the match linear in practice.
bool WildcardMatch(std::string_view name, std::string_view mask) {
  size_t n = 0, m = 0;
  size_t starMask = std::string_view::npos, starName = 0;
  while (n < name.size()) {
    if (m < mask.size() && mask[m] == '*') {
      starMask = m++;
      starName = n;
    } else if (m < mask.size() && (mask[m] == '?' || SameLetter(mask[m], name[n]))) {
      ++m;
      ++n;
    } else if (starMask != std::string_view::npos) {
      m = starMask + 1;
      n = ++starName;
    } else {
      return false;
    }
  }
  while (m < mask.size() && mask[m] == '*') ++m;
  return m == mask.size();
}

}  // namespace

std::string FileSystem::NativePath(std::string_view path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

bool MatchesMask(std::string_view name, std::string_view mask) {
  if (WildcardMatch(name, mask)) return true;
  // A trailing ".*" may also match nothing, so "*.*" and "MvI*.*" take names without an
  // extension, as on the system the callers' masks were written for.
  if (mask.size() >= 2 && mask.substr(mask.size() - 2) == ".*") {
    return WildcardMatch(name, mask.substr(0, mask.size() - 2));
  }
  return false;
}

}  // namespace korad
