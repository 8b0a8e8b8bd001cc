#include "contracts/value.h"

#include "contracts/object.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <type_traits>

#include "contracts/error.h"
#include "contracts/text.h"

namespace korad {
namespace {

// Numbers may come with the line ends of the file they were read from.
constexpr bool IsWhite(char c) noexcept { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

std::string_view TrimWhite(std::string_view text) noexcept {
  while (!text.empty() && IsWhite(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsWhite(text.back())) text.remove_suffix(1);
  return text;
}

enum class Scan { kOk, kNoNumber, kOverflow };

struct NumberScan {
  Scan status = Scan::kNoNumber;
  double value = 0.0;
  size_t end = 0;  // one past the last character read
};

// "&H1F" / "&O17": the digits as far as they go; a value up to &HFFFF is 16-bit, larger
// ones 32-bit, both two's complement.
NumberScan ScanRadix(std::string_view text) {
  NumberScan scan;
  if (text.size() < 3 || text[0] != '&') return scan;
  const char tag = text[1];
  const int radix = (tag == 'H' || tag == 'h') ? 16 : (tag == 'O' || tag == 'o') ? 8 : 0;
  if (radix == 0) return scan;
  uint64_t value = 0;
  size_t i = 2;
  bool tooBig = false;
  for (; i < text.size(); ++i) {
    int digit = -1;
    const char c = text[i];
    if (IsDigit(c)) digit = c - '0';
    else if (radix == 16 && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    else if (radix == 16 && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    if (digit < 0 || digit >= radix) break;
    value = value * static_cast<uint64_t>(radix) + static_cast<uint64_t>(digit);
    if (value > 0xFFFFFFFFu) {
      tooBig = true;
      value = 0x100000000u;  // stays put, so long runs of digits can't wrap it
    }
  }
  if (i == 2) return scan;
  scan.end = i;
  if (tooBig) {
    scan.status = Scan::kOverflow;
  } else {
    scan.status = Scan::kOk;
    scan.value = value <= 0xFFFFu ? static_cast<double>(static_cast<int16_t>(value))
                                  : static_cast<double>(static_cast<int32_t>(value));
  }
  return scan;
}

// The longest decimal number at the start of `text`: sign, digits, point, digits, and an
// exponent ("E" or "D") only when digits follow it.
NumberScan ScanDecimal(std::string_view text) {
  NumberScan scan;
  size_t i = 0;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  size_t digits = 0;
  // Decimal magnitude of the mantissa, for telling overflow from underflow below.
  long magnitude = 0;
  bool significant = false;
  for (; i < text.size() && IsDigit(text[i]); ++i, ++digits) {
    significant = significant || text[i] != '0';
    if (significant) ++magnitude;
  }
  if (i < text.size() && text[i] == '.') {
    ++i;
    for (; i < text.size() && IsDigit(text[i]); ++i, ++digits) {
      if (!significant && text[i] == '0') --magnitude;
      significant = significant || text[i] != '0';
    }
  }
  if (digits == 0) return scan;
  const size_t mantissaEnd = i;
  long exponent = 0;
  if (i < text.size() && (text[i] == 'E' || text[i] == 'e' || text[i] == 'D' || text[i] == 'd')) {
    size_t j = i + 1;
    bool negative = false;
    if (j < text.size() && (text[j] == '+' || text[j] == '-')) negative = text[j++] == '-';
    if (j < text.size() && IsDigit(text[j])) {
      for (; j < text.size() && IsDigit(text[j]); ++j) {
        if (exponent < 100000) exponent = exponent * 10 + (text[j] - '0');
      }
      if (negative) exponent = -exponent;
      i = j;
    }
  }
  scan.end = i;

  // from_chars takes neither a "+" nor a "D" exponent; a number that has one is read from
  // a copy without them.
  std::string_view number = text.substr(0, scan.end);
  std::array<char, 64> small;
  std::string large;
  const bool hasExponent = scan.end > mantissaEnd;
  if (number[0] == '+' || (hasExponent && (number[mantissaEnd + 1] == '+' || number[mantissaEnd] == 'D' ||
                                           number[mantissaEnd] == 'd'))) {
    char* buffer = small.data();
    if (number.size() > small.size()) {
      large.resize(number.size());
      buffer = large.data();
    }
    size_t length = 0;
    for (size_t k = 0; k < number.size(); ++k) {
      char c = number[k];
      if (c == '+' && (k == 0 || k == mantissaEnd + 1)) continue;
      if (k == mantissaEnd) c = 'e';
      buffer[length++] = c;
    }
    number = std::string_view(buffer, length);
  }
  double value = 0.0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value,
                                      std::chars_format::general);
  if (result.ec == std::errc::result_out_of_range) {
    // Too small underflows to zero; too big is an overflow.
    if (magnitude + exponent > 0) {
      scan.status = Scan::kOverflow;
      return scan;
    }
    value = text[0] == '-' ? -0.0 : 0.0;
  } else if (result.ec != std::errc()) {
    return NumberScan{};
  }
  scan.status = Scan::kOk;
  scan.value = value;
  return scan;
}

NumberScan ScanNumber(std::string_view text) {
  return !text.empty() && text[0] == '&' ? ScanRadix(text) : ScanDecimal(text);
}

// Text to Double for the conversions: the whole text must be a number.
double TextToDouble(std::string_view text) {
  text = TrimWhite(text);
  const NumberScan scan = ScanNumber(text);
  if (scan.status == Scan::kNoNumber || scan.end != text.size()) RaiseRuntimeError(kErrTypeMismatch);
  if (scan.status == Scan::kOverflow) RaiseRuntimeError(kErrOverflow);
  return scan.value;
}

template <class Int>
std::string IntegerText(Int value) {
  std::array<char, 16> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return std::string(buffer.data(), result.ptr);
}

// Shortest host text of a floating number at the given number of significant digits.
template <class Float>
std::string FloatText(Float value, int digits) {
  if (value == 0) return "0";  // minus zero too
  std::array<char, 40> buffer;
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                    std::chars_format::general, digits);
  for (char* p = buffer.data(); p != result.ptr; ++p) {
    if (*p == 'e') *p = 'E';
  }
  return std::string(buffer.data(), result.ptr);
}

template <class Int>
Int RoundToInteger(double value) {
  const double rounded = RoundHalfEven(value);
  if (!(rounded >= std::numeric_limits<Int>::min() && rounded <= std::numeric_limits<Int>::max())) {
    RaiseRuntimeError(kErrOverflow);
  }
  return static_cast<Int>(rounded);
}

}  // namespace

ValueKind Value::Kind() const noexcept {
  // The variant's alternatives stand in ValueKind order, so the index is the kind.
  using Data = decltype(m_data);
  constexpr auto kDate = static_cast<size_t>(ValueKind::Date);
  constexpr auto kObject = static_cast<size_t>(ValueKind::Object);
  static_assert(std::is_same_v<std::variant_alternative_t<kDate, Data>, OleDate>);
  static_assert(std::is_same_v<std::variant_alternative_t<kObject, Data>, ObjectRef>);
  static_assert(std::variant_size_v<Data> == kObject + 1);
  return static_cast<ValueKind>(m_data.index());
}

bool Value::IsNumberKind() const noexcept {
  const ValueKind kind = Kind();
  return kind == ValueKind::Integer || kind == ValueKind::Long || kind == ValueKind::Single ||
         kind == ValueKind::Double;
}

std::string Value::TypeName() const {
  switch (Kind()) {
    case ValueKind::Empty: return "Empty";
    case ValueKind::Null: return "Null";
    case ValueKind::Integer: return "Integer";
    case ValueKind::Long: return "Long";
    case ValueKind::Single: return "Single";
    case ValueKind::Double: return "Double";
    case ValueKind::Boolean: return "Boolean";
    case ValueKind::Date: return "Date";
    case ValueKind::String: return "String";
    case ValueKind::Object: {
      const ObjectRef& object = std::get<ObjectRef>(m_data);
      if (!object) return "Nothing";
      return std::string(object->ClassName());
    }
  }
  return "Unknown";
}

std::string Value::ToText() const {
  switch (Kind()) {
    case ValueKind::Empty: return "";
    case ValueKind::Null: RaiseRuntimeError(kErrInvalidUseOfNull);
    case ValueKind::Integer: return IntegerText(std::get<int16_t>(m_data));
    case ValueKind::Long: return IntegerText(std::get<int32_t>(m_data));
    case ValueKind::Single: return FloatText(std::get<float>(m_data), 7);
    case ValueKind::Double: return FormatDouble(std::get<double>(m_data));
    case ValueKind::Boolean: return std::get<BoolBox>(m_data).value ? "True" : "False";
    case ValueKind::Date: return FormatDate(std::get<OleDate>(m_data));
    case ValueKind::String: return std::get<std::string>(m_data);
    case ValueKind::Object: break;
  }
  RaiseRuntimeError(kErrTypeMismatch);
}

double Value::ToDouble() const {
  switch (Kind()) {
    case ValueKind::Empty: return 0.0;
    case ValueKind::Null: RaiseRuntimeError(kErrInvalidUseOfNull);
    case ValueKind::Integer: return std::get<int16_t>(m_data);
    case ValueKind::Long: return std::get<int32_t>(m_data);
    case ValueKind::Single: return std::get<float>(m_data);
    case ValueKind::Double: return std::get<double>(m_data);
    case ValueKind::Boolean: return std::get<BoolBox>(m_data).value ? kTrue : kFalse;
    case ValueKind::Date: return std::get<OleDate>(m_data).Days();
    case ValueKind::String: return TextToDouble(std::get<std::string>(m_data));
    case ValueKind::Object: break;
  }
  RaiseRuntimeError(kErrTypeMismatch);
}

float Value::ToSingle() const {
  const double value = ToDouble();
  if (std::isfinite(value) && std::fabs(value) > std::numeric_limits<float>::max()) {
    RaiseRuntimeError(kErrOverflow);
  }
  return static_cast<float>(value);
}

int32_t Value::ToLong() const {
  if (const auto* v = std::get_if<int32_t>(&m_data)) return *v;
  if (const auto* v = std::get_if<int16_t>(&m_data)) return *v;
  return RoundToInteger<int32_t>(ToDouble());
}

int16_t Value::ToInteger() const {
  if (const auto* v = std::get_if<int16_t>(&m_data)) return *v;
  return RoundToInteger<int16_t>(ToDouble());
}

bool Value::ToBoolean() const {
  if (const auto* b = std::get_if<BoolBox>(&m_data)) return b->value;
  if (const auto* s = std::get_if<std::string>(&m_data)) {
    const std::string_view text = TrimWhite(*s);
    if (EqualsNoCase(text, "True")) return true;
    if (EqualsNoCase(text, "False")) return false;
    return TextToDouble(text) != 0.0;
  }
  return ToDouble() != 0.0;
}

OleDate Value::ToDate() const {
  switch (Kind()) {
    case ValueKind::Date: return std::get<OleDate>(m_data);
    case ValueKind::String: {
      if (auto date = ParseDate(std::get<std::string>(m_data))) return *date;
      RaiseRuntimeError(kErrTypeMismatch);
    }
    default: break;
  }
  const OleDate date(ToDouble());
  if (!date.IsValid()) RaiseRuntimeError(kErrOverflow);
  return date;
}

ObjectRef Value::ToObject() const {
  if (const auto* object = std::get_if<ObjectRef>(&m_data)) return *object;
  RaiseRuntimeError(kErrObjectRequired);
}

bool Value::operator==(const Value& other) const noexcept { return m_data == other.m_data; }

bool IsNumeric(const Value& value) {
  switch (value.Kind()) {
    case ValueKind::Empty:
    case ValueKind::Integer:
    case ValueKind::Long:
    case ValueKind::Single:
    case ValueKind::Double:
    case ValueKind::Boolean: return true;
    case ValueKind::String: return ParseNumber(*value.AsString()).has_value();
    default: return false;
  }
}

bool IsDate(const Value& value) {
  if (value.Kind() == ValueKind::Date) return true;
  const std::string* text = value.AsString();
  return text && ParseDate(*text).has_value();
}

std::optional<double> ParseNumber(std::string_view text) {
  text = TrimWhite(text);
  const NumberScan scan = ScanNumber(text);
  if (scan.status != Scan::kOk || scan.end != text.size()) return std::nullopt;
  return scan.value;
}

double LeadingNumber(std::string_view text) noexcept {
  while (!text.empty() && IsWhite(text.front())) text.remove_prefix(1);
  const NumberScan scan = ScanNumber(text);
  if (scan.status == Scan::kOverflow) {
    // Callers read settings with this and have no failure path.
    return text[0] == '-' ? -std::numeric_limits<double>::max() : std::numeric_limits<double>::max();
  }
  return scan.value;  // 0 when there is no number
}

std::string FormatDouble(double value) { return FloatText(value, 15); }

double RoundHalfEven(double value) {
  const double floor = std::floor(value);
  const double fraction = value - floor;  // exact for every finite double
  if (fraction < 0.5) return floor;
  if (fraction > 0.5) return floor + 1.0;
  return std::fmod(floor, 2.0) == 0.0 ? floor : floor + 1.0;
}

}  // namespace korad
