#include "platform/date_time_converter.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "contracts/text.h"
#include "platform/clock.h"
#include "platform/platform.h"

namespace korad {
namespace {

constexpr int64_t kMsPerSecond = 1000;

// The parts of a date rounded to the whole second, as the host's date texts round.
CivilTime WholeSecondParts(OleDate date) {
  const int64_t ms = date.ToUnixMillis();
  int64_t seconds = ms / kMsPerSecond;
  int64_t rest = ms % kMsPerSecond;
  if (rest < 0) {
    rest += kMsPerSecond;
    --seconds;
  }
  const bool roundUp = rest >= kMsPerSecond / 2;
  const CivilTime parts = OleDate::FromUnixMillis((seconds + (roundUp ? 1 : 0)) * kMsPerSecond).ToCivil();
  if (roundUp && parts.year > 9999) {
    // The last second of the range doesn't round out of it.
    return OleDate::FromUnixMillis(seconds * kMsPerSecond).ToCivil();
  }
  return parts;
}


// Written by hand: this runs for every date of a state file, where snprintf's parsing
// of its format was most of a save's time.
std::string_view Format(OleDate date, char separator, std::string_view suffix,
                        DateTimeConverter::TextBuffer& buffer) {
  const CivilTime c = WholeSecondParts(date);
  char* const start = buffer.data();
  if (c.year < 0 || c.year > 9999) {
    // Only a date outside the valid range gets here; its year shows as it is.
    const int n = std::snprintf(start, buffer.size(), "%04d-%02d-%02d%c%02d:%02d:%02d%.*s", c.year, c.month,
                                c.day, separator, c.hour, c.minute, c.second, static_cast<int>(suffix.size()),
                                suffix.data());
    return std::string_view(start, std::min(static_cast<std::size_t>(n), buffer.size() - 1));
  }
  char* out = WriteFixedDigits(start, c.year, 4);
  *out++ = '-';
  out = WriteFixedDigits(out, c.month, 2);
  *out++ = '-';
  out = WriteFixedDigits(out, c.day, 2);
  *out++ = separator;
  out = WriteFixedDigits(out, c.hour, 2);
  *out++ = ':';
  out = WriteFixedDigits(out, c.minute, 2);
  *out++ = ':';
  out = WriteFixedDigits(out, c.second, 2);
  out = std::copy(suffix.begin(), suffix.end(), out);
  return std::string_view(start, static_cast<std::size_t>(out - start));
}

// Reads exactly `width` decimal digits at `pos`.
bool ReadDigits(std::string_view text, size_t pos, size_t width, int& value) {
  if (pos + width > text.size()) return false;
  for (size_t i = pos; i < pos + width; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
  }
  std::from_chars(text.data() + pos, text.data() + pos + width, value);
  return true;
}

bool Expect(std::string_view text, size_t pos, char c) { return pos < text.size() && text[pos] == c; }

// ".f" to ".fffffffff" at `pos`, rounded to milliseconds (0..1000); advances `pos`.
bool ReadFraction(std::string_view text, size_t& pos, int& milliseconds) {
  milliseconds = 0;
  if (!Expect(text, pos, '.')) return true;
  ++pos;
  int64_t nanos = 0;
  size_t digits = 0;
  while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
    if (++digits > 9) return false;
    nanos = nanos * 10 + (text[pos] - '0');
    ++pos;
  }
  if (digits == 0) return false;
  for (size_t i = digits; i < 9; ++i) nanos *= 10;
  milliseconds = static_cast<int>((nanos + 500'000) / 1'000'000);
  return true;
}

enum class TextForm { Universal, Plain, Either };

// "YYYY-MM-DDTHH:MM:SS[.f...]Z" or "YYYY-MM-DD HH:MM:SS[.f...]", nothing around them.
std::optional<OleDate> Parse(std::string_view text, TextForm form) {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, milliseconds = 0;
  if (!ReadDigits(text, 0, 4, year) || !Expect(text, 4, '-') || !ReadDigits(text, 5, 2, month) ||
      !Expect(text, 7, '-') || !ReadDigits(text, 8, 2, day) || !ReadDigits(text, 11, 2, hour) ||
      !Expect(text, 13, ':') || !ReadDigits(text, 14, 2, minute) || !Expect(text, 16, ':') ||
      !ReadDigits(text, 17, 2, second)) {
    return std::nullopt;
  }
  const bool universal = Expect(text, 10, 'T');
  if (!universal && !Expect(text, 10, ' ')) return std::nullopt;
  if (form != TextForm::Either && universal != (form == TextForm::Universal)) return std::nullopt;
  size_t pos = 19;
  if (!ReadFraction(text, pos, milliseconds)) return std::nullopt;
  if (universal) {
    if (!Expect(text, pos, 'Z')) return std::nullopt;
    ++pos;
  }
  if (pos != text.size()) return std::nullopt;

  const bool carry = milliseconds == kMsPerSecond;  // ".9996" rounds up to the next second
  std::optional<OleDate> date =
      OleDate::FromCivil(year, month, day, hour, minute, second, carry ? 0 : milliseconds);
  if (date && carry) {
    date = OleDate::FromUnixMillis(date->ToUnixMillis() + kMsPerSecond);
    if (date->ToCivil().year > 9999) return std::nullopt;
  }
  return date;
}

}  // namespace

DateTimeConverter::DateTimeConverter() : m_clock(Platform::Current().GetClock()) {}

DateTimeConverter::DateTimeConverter(Clock& clock) : m_clock(clock) {}

std::string DateTimeConverter::ToUniversalText(OleDate utc) {
  TextBuffer buffer;
  return std::string(ToUniversalText(utc, buffer));
}

std::string_view DateTimeConverter::ToUniversalText(OleDate utc, TextBuffer& buffer) {
  return Format(utc, 'T', "Z", buffer);
}

std::string DateTimeConverter::ToPlainText(OleDate date) {
  TextBuffer buffer;
  return std::string(Format(date, ' ', "", buffer));
}

std::optional<OleDate> DateTimeConverter::FromUniversalText(std::string_view text) {
  return Parse(text, TextForm::Universal);
}

std::optional<OleDate> DateTimeConverter::FromPlainText(std::string_view text) {
  return Parse(text, TextForm::Plain);
}

std::optional<OleDate> DateTimeConverter::FromText(std::string_view text) { return Parse(text, TextForm::Either); }

OleDate DateTimeConverter::LocalToUtc(OleDate local) { return m_clock.LocalToUtc(local); }

OleDate DateTimeConverter::UtcToLocal(OleDate utc) { return m_clock.UtcToLocal(utc); }

}  // namespace korad
