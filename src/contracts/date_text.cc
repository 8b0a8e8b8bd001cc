// The default date text and date recognition (ParseDate, FormatDate of value.h).
#include <array>

#include "contracts/text.h"
#include "contracts/value.h"

namespace korad {
namespace {

constexpr bool IsWhite(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// A forward reader over the text; every Read* either consumes what it matched or nothing.
class Reader {
 public:
  explicit Reader(std::string_view text) : m_text(text) {}

  bool AtEnd() const noexcept { return m_pos == m_text.size(); }
  char Peek() const noexcept { return AtEnd() ? '\0' : m_text[m_pos]; }

  bool Read(char c) noexcept {
    if (Peek() != c) return false;
    ++m_pos;
    return true;
  }
  bool ReadBlanks() noexcept {
    const size_t start = m_pos;
    while (!AtEnd() && IsWhite(m_text[m_pos])) ++m_pos;
    return m_pos != start;
  }
  // An unsigned number of minDigits..maxDigits digits, and no more digits after them.
  std::optional<int> ReadNumber(size_t minDigits, size_t maxDigits) noexcept {
    size_t end = m_pos;
    int value = 0;
    while (end < m_text.size() && IsDigit(m_text[end])) {
      if (end - m_pos == maxDigits) return std::nullopt;
      value = value * 10 + (m_text[end++] - '0');
    }
    if (end - m_pos < minDigits) return std::nullopt;
    m_pos = end;
    return value;
  }
  // Digits after a decimal point, as milliseconds (further digits are dropped).
  std::optional<int> ReadMilliseconds() noexcept {
    int value = 0;
    size_t count = 0;
    for (; !AtEnd() && IsDigit(m_text[m_pos]); ++m_pos, ++count) {
      if (count < 3) value = value * 10 + (m_text[m_pos] - '0');
    }
    if (count == 0) return std::nullopt;
    for (; count < 3; ++count) value *= 10;
    return value;
  }
  // "AM" or "PM" in any case: 0 for AM, 12 for PM.
  std::optional<int> ReadMeridiem() noexcept {
    if (m_text.size() - m_pos < 2) return std::nullopt;
    const char first = static_cast<char>(m_text[m_pos] & ~0x20);
    const char second = static_cast<char>(m_text[m_pos + 1] & ~0x20);
    if (second != 'M' || (first != 'A' && first != 'P')) return std::nullopt;
    m_pos += 2;
    return first == 'A' ? 0 : 12;
  }

 private:
  std::string_view m_text;
  size_t m_pos = 0;
};

struct TimeOfDay {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

// "h:mm[:ss[.fff]]" and, if allowed, " AM"/" PM" after it (the blank optional).
std::optional<TimeOfDay> ReadTime(Reader& reader, bool allowMeridiem) {
  TimeOfDay time;
  auto hour = reader.ReadNumber(1, 2);
  if (!hour || !reader.Read(':')) return std::nullopt;
  auto minute = reader.ReadNumber(2, 2);
  if (!minute) return std::nullopt;
  time.hour = *hour;
  time.minute = *minute;
  if (reader.Read(':')) {
    auto second = reader.ReadNumber(2, 2);
    if (!second) return std::nullopt;
    time.second = *second;
    if (reader.Read('.')) {
      auto millis = reader.ReadMilliseconds();
      if (!millis) return std::nullopt;
      time.millisecond = *millis;
    }
  }
  if (allowMeridiem) {
    Reader lookahead = reader;
    lookahead.ReadBlanks();
    if (auto offset = lookahead.ReadMeridiem()) {
      if (time.hour < 1 || time.hour > 12) return std::nullopt;
      time.hour = time.hour % 12 + *offset;  // 12 AM is midnight, 12 PM noon
      reader = lookahead;
    }
  }
  return time;
}

std::optional<OleDate> Build(int year, int month, int day, const TimeOfDay& time) {
  return OleDate::FromCivil(year, month, day, time.hour, time.minute, time.second,
                            time.millisecond);
}

// "YYYY-MM-DD" with an optional time after "T" or blanks, and an optional "Z".
std::optional<OleDate> ReadIsoDate(Reader& reader) {
  auto year = reader.ReadNumber(4, 4);
  if (!year || !reader.Read('-')) return std::nullopt;
  auto month = reader.ReadNumber(2, 2);
  if (!month || !reader.Read('-')) return std::nullopt;
  auto day = reader.ReadNumber(2, 2);
  if (!day) return std::nullopt;
  TimeOfDay time;
  if (reader.Read('T')) {
    auto t = ReadTime(reader, false);
    if (!t) return std::nullopt;
    time = *t;
    reader.Read('Z');
  } else if (reader.ReadBlanks()) {
    auto t = ReadTime(reader, true);
    if (!t) return std::nullopt;
    time = *t;
    reader.Read('Z');
  }
  return Build(*year, *month, *day, time);
}

// "M/D/YYYY" with an optional time after blanks.
std::optional<OleDate> ReadUsDate(Reader& reader) {
  auto month = reader.ReadNumber(1, 2);
  if (!month || !reader.Read('/')) return std::nullopt;
  auto day = reader.ReadNumber(1, 2);
  if (!day || !reader.Read('/')) return std::nullopt;
  auto year = reader.ReadNumber(4, 4);
  if (!year) return std::nullopt;
  TimeOfDay time;
  if (reader.ReadBlanks()) {
    auto t = ReadTime(reader, true);
    if (!t) return std::nullopt;
    time = *t;
  }
  return Build(*year, *month, *day, time);
}

std::optional<OleDate> ReadAnyDate(Reader& reader) {
  {
    Reader iso = reader;
    if (auto date = ReadIsoDate(iso)) return reader = iso, date;
  }
  {
    Reader us = reader;
    if (auto date = ReadUsDate(us)) return reader = us, date;
  }
  auto time = ReadTime(reader, true);
  if (!time) return std::nullopt;
  return Build(1899, 12, 30, *time);
}


}  // namespace

std::optional<OleDate> ParseDate(std::string_view text) {
  // Every form has a "-", "/" or ":"; most texts that are asked (counters, messages) have
  // none, and saving a state asks it of every text item.
  bool separated = false;
  for (const char c : text) separated = separated || c == '-' || c == '/' || c == ':';
  if (!separated) return std::nullopt;
  while (!text.empty() && IsWhite(text.back())) text.remove_suffix(1);
  Reader reader(text);
  reader.ReadBlanks();
  auto date = ReadAnyDate(reader);
  if (!date || !reader.AtEnd()) return std::nullopt;
  return date;
}

std::string FormatDate(OleDate date) {
  // Out of range a date has no calendar text; its number at least shows what it was.
  if (!date.IsValid()) return FormatDouble(date.Days());
  CivilTime c = date.ToCivil();
  if (c.millisecond >= 500) c = date.AddSeconds((1000 - c.millisecond) / 1000.0).ToCivil();
  const bool noDate = c.year == 1899 && c.month == 12 && c.day == 30;
  const bool noTime = c.hour == 0 && c.minute == 0 && c.second == 0;
  std::array<char, 20> buffer;
  char* out = buffer.data();
  if (!noDate) {
    out = WriteFixedDigits(out, c.year, 4);
    *out++ = '-';
    out = WriteFixedDigits(out, c.month, 2);
    *out++ = '-';
    out = WriteFixedDigits(out, c.day, 2);
    if (noTime) return std::string(buffer.data(), out);
    *out++ = ' ';
  }
  out = WriteFixedDigits(out, c.hour, 2);
  *out++ = ':';
  out = WriteFixedDigits(out, c.minute, 2);
  *out++ = ':';
  out = WriteFixedDigits(out, c.second, 2);
  return std::string(buffer.data(), out);
}

}  // namespace korad
