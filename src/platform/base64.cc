#include "platform/base64.h"

#include <cstdint>

namespace korad {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

int DigitValue(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

bool IsSkipped(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

}  // namespace

std::string Base64Encode(std::string_view bytes) {
  std::string out;
  out.reserve((bytes.size() + 2) / 3 * 4);
  size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const uint32_t n = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16 |
                       static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8 |
                       static_cast<unsigned char>(bytes[i + 2]);
    out += kAlphabet[n >> 18];
    out += kAlphabet[(n >> 12) & 0x3F];
    out += kAlphabet[(n >> 6) & 0x3F];
    out += kAlphabet[n & 0x3F];
  }
  const size_t rest = bytes.size() - i;
  if (rest > 0) {
    uint32_t n = static_cast<uint32_t>(static_cast<unsigned char>(bytes[i])) << 16;
    if (rest == 2) n |= static_cast<uint32_t>(static_cast<unsigned char>(bytes[i + 1])) << 8;
    out += kAlphabet[n >> 18];
    out += kAlphabet[(n >> 12) & 0x3F];
    out += rest == 2 ? kAlphabet[(n >> 6) & 0x3F] : '=';
    out += '=';
  }
  return out;
}

std::optional<std::string> Base64Decode(std::string_view text) {
  std::string out;
  out.reserve(text.size() / 4 * 3);
  uint32_t bits = 0;
  int digits = 0;   // digits in the current group of four
  int padding = 0;  // "=" seen; only more "=" and blanks may follow
  for (char c : text) {
    if (IsSkipped(c)) continue;
    if (c == '=') {
      if (digits < 2 || digits + padding >= 4) return std::nullopt;
      ++padding;
      continue;
    }
    const int value = DigitValue(c);
    if (value < 0 || padding > 0) return std::nullopt;
    bits = bits << 6 | static_cast<uint32_t>(value);
    if (++digits == 4) {
      out += static_cast<char>(bits >> 16);
      out += static_cast<char>((bits >> 8) & 0xFF);
      out += static_cast<char>(bits & 0xFF);
      bits = 0;
      digits = 0;
    }
  }
  if (padding > 0 && digits + padding != 4) return std::nullopt;
  if (digits == 1) return std::nullopt;
  if (digits == 2) out += static_cast<char>(bits >> 4);
  if (digits == 3) {
    out += static_cast<char>(bits >> 10);
    out += static_cast<char>((bits >> 2) & 0xFF);
  }
  return out;
}

std::string Base64UrlEncode(std::string_view bytes) {
  std::string out = Base64Encode(bytes);
  while (!out.empty() && out.back() == '=') out.pop_back();
  for (char& c : out) {
    if (c == '+') c = '-';
    if (c == '/') c = '_';
  }
  return out;
}

std::optional<std::string> Base64UrlDecode(std::string_view text) {
  std::string standard;
  standard.reserve(text.size() + 2);
  for (char c : text) {
    if (c == '-') {
      standard += '+';
    } else if (c == '_') {
      standard += '/';
    } else if (c == '+' || c == '/' || DigitValue(c) < 0) {
      return std::nullopt;
    } else {
      standard += c;
    }
  }
  while (standard.size() % 4 != 0) standard += '=';
  std::optional<std::string> bytes = Base64Decode(standard);
  if (!bytes || Base64UrlEncode(*bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace korad
