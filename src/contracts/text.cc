#include "contracts/text.h"

namespace korad {
namespace {
constexpr char ToUpper(char c) noexcept { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
constexpr char ToLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }
}  // namespace

std::string UpperAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = ToUpper(c);
  return out;
}

std::string LowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = ToLower(c);
  return out;
}

std::string_view TrimBlanks(std::string_view text) noexcept {
  const size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  const size_t last = text.find_last_not_of(' ');
  return text.substr(first, last - first + 1);
}

bool EqualsNoCase(std::string_view a, std::string_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (ToUpper(a[i]) != ToUpper(b[i])) return false;
  }
  return true;
}

std::string NormalizeKey(std::string_view text) { return UpperAscii(TrimBlanks(text)); }

std::string StripSpaces(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c != ' ') out.push_back(c);
  }
  return out;
}

namespace {
// The one pass of Replace: hits are found in `haystack` (the text itself, or its
// upper-cased copy), and the output is built from `text`.
std::string ReplaceFound(std::string_view text, std::string_view haystack, std::string_view needle,
                         std::string_view to) {
  std::string out;
  out.reserve(text.size());
  size_t pos = 0;
  for (size_t hit; (hit = haystack.find(needle, pos)) != std::string_view::npos; pos = hit + needle.size()) {
    out.append(text.substr(pos, hit - pos)).append(to);
  }
  out.append(text.substr(pos));
  return out;
}
}  // namespace

std::string ReplaceText(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  return ReplaceFound(text, text, from, to);
}

std::string ReplaceTextNoCase(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  const std::string upperText = UpperAscii(text);
  const std::string upperFrom = UpperAscii(from);
  return ReplaceFound(text, upperText, upperFrom, to);
}

std::vector<std::string_view> SplitNonEmpty(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  size_t start = 0;
  while (start <= text.size()) {
    size_t end = text.find(separator, start);
    if (end == std::string_view::npos) end = text.size();
    if (end > start) parts.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return parts;
}

size_t NoCaseHash::operator()(std::string_view text) const noexcept {
  // FNV-1a over the upper-cased bytes.
  size_t h = 14695981039346656037ull;
  for (char c : text) {
    h ^= static_cast<unsigned char>(ToUpper(c));
    h *= 1099511628211ull;
  }
  return h;
}

}  // namespace korad
