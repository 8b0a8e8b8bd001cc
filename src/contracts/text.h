// Text helpers shared by every key comparison of the library. Blanks are " " only, as
// the host's Trim sees them; case folding is ASCII, as keys are ASCII.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

std::string UpperAscii(std::string_view text);
std::string LowerAscii(std::string_view text);
// Trims " " at both ends.
std::string_view TrimBlanks(std::string_view text) noexcept;
bool EqualsNoCase(std::string_view a, std::string_view b) noexcept;

// Trims and upper-cases: used everywhere keys or names are compared.
std::string NormalizeKey(std::string_view text);
// True for the empty string.
inline bool IsBlank(std::string_view text) noexcept { return text.empty(); }
// Removes every " " of the text.
std::string StripSpaces(std::string_view text);

// The host's Replace: every occurrence of `from`, left to right, in one pass whose
// results are not searched again. An empty `from` leaves the text as it is.
std::string ReplaceText(std::string_view text, std::string_view from, std::string_view to);

// ReplaceText with `from` matched in any letter case.
std::string ReplaceTextNoCase(std::string_view text, std::string_view from, std::string_view to);

// Writes `width` decimal digits of a non-negative value known to fit them, zero-padded,
// and returns the end; for date texts on hot paths, where snprintf would dominate.
inline char* WriteFixedDigits(char* out, int value, int width) noexcept {
  for (int i = width - 1; i >= 0; --i) {
    out[i] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
  return out + width;
}

// The non-empty pieces of `text` between separators ("a//b/" gives "a", "b").
std::vector<std::string_view> SplitNonEmpty(std::string_view text, char separator);

// Hash and equality that ignore ASCII case, for maps keyed case-insensitively.
struct NoCaseHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const noexcept;
};
struct NoCaseEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept { return EqualsNoCase(a, b); }
};

}  // namespace korad
