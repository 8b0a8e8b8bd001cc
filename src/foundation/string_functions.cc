#include "foundation/string_functions.h"

#include <sys/random.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "contracts/error.h"

namespace korad {

std::string SplitAtFirstDot(std::string_view text, std::string& head) {
  const size_t dot = text.find('.');
  if (dot == std::string_view::npos) {
    head.clear();
    return std::string(text);
  }
  head = std::string(text.substr(0, dot));
  return std::string(text.substr(dot + 1));
}

std::string CreateGUID() {
  uint8_t bytes[16];
  size_t filled = 0;
  while (filled < sizeof bytes) {
    const ssize_t got = ::getrandom(bytes + filled, sizeof bytes - filled, 0);
    if (got < 0) {
      if (errno == EINTR) continue;
      RaiseLibraryError("Could not create a new GUID");
    }
    filled += static_cast<size_t>(got);
  }
  bytes[6] = static_cast<uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4: random
  bytes[8] = static_cast<uint8_t>((bytes[8] & 0x3F) | 0x80);  // the standard variant

  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string text = "{";
  for (size_t i = 0; i < sizeof bytes; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kHex[bytes[i] >> 4]);
    text.push_back(kHex[bytes[i] & 0x0F]);
  }
  text.push_back('}');
  return text;
}

void SwapStrings(std::vector<std::string>& strings, size_t i, size_t j) { std::swap(strings.at(i), strings.at(j)); }

void SortStrings(std::vector<std::string>& strings) {
  for (size_t i = 0; i + 1 < strings.size(); ++i) {
    size_t smallest = i;
    for (size_t j = i + 1; j < strings.size(); ++j) {
      if (strings[j] < strings[smallest]) smallest = j;
    }
    if (smallest != i) SwapStrings(strings, i, smallest);
  }
}

}  // namespace korad
