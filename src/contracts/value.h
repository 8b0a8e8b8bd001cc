// Value: the dynamically typed value that attributes, state items and optional
// arguments carry. Every conversion between its kinds lives here and nowhere else.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "contracts/ole_date.h"

namespace korad {

class Object;
using ObjectRef = std::shared_ptr<Object>;

enum class ValueKind { Empty, Null, Integer, Long, Single, Double, Boolean, Date, String, Object };

// Boolean results are 16-bit integers: True is -1, False is 0.
inline constexpr int16_t kTrue = -1;
inline constexpr int16_t kFalse = 0;

class Value {
 public:
  struct NullTag {};
  static constexpr NullTag Null{};

  Value() = default;                               // Empty
  Value(NullTag) : m_data(NullTag{}) {}            // Null
  Value(int16_t v) : m_data(v) {}                  // Integer
  Value(int32_t v) : m_data(v) {}                  // Long
  Value(float v) : m_data(v) {}                    // Single
  Value(double v) : m_data(v) {}                   // Double
  Value(bool v) : m_data(BoolBox{v}) {}            // Boolean
  Value(OleDate v) : m_data(v) {}                  // Date
  Value(std::string v) : m_data(std::move(v)) {}   // String (bytes, no transcoding)
  Value(std::string_view v) : m_data(std::string(v)) {}
  Value(const char* v) : m_data(std::string(v)) {}
  Value(ObjectRef v) : m_data(std::move(v)) {}     // Object (an empty reference is Nothing)

  ValueKind Kind() const noexcept;
  bool IsEmpty() const noexcept { return Kind() == ValueKind::Empty; }
  bool IsNull() const noexcept { return Kind() == ValueKind::Null; }
  bool IsObject() const noexcept { return Kind() == ValueKind::Object; }
  bool IsString() const noexcept { return Kind() == ValueKind::String; }
  // Integer, Long, Single or Double; Booleans and dates are not number kinds.
  bool IsNumberKind() const noexcept;

  // "Empty", "Null", "Integer", "Long", "Single", "Double", "Boolean", "Date", "String",
  // and for an object its class name ("Nothing" for an empty reference).
  std::string TypeName() const;

  // Conversions with the host's rules. Empty reads as 0, "", False and date 0. Null
  // raises 94 (invalid use of Null); an object, or text that isn't a number (or date),
  // raises 13 (type mismatch); a number that doesn't fit raises 6 (overflow). Integer
  // conversions round half to even (2.5 -> 2, 3.5 -> 4, -2.5 -> -2).
  std::string ToText() const;        // Empty is "", Booleans "True"/"False", dates the default
                                     // date text, Doubles FormatDouble, Singles 7 digits
  double ToDouble() const;
  float ToSingle() const;
  int32_t ToLong() const;
  int16_t ToInteger() const;
  bool ToBoolean() const;            // numbers: non-zero; text: "True"/"False" or a number
  OleDate ToDate() const;            // numbers (True is -1) as day counts, 6 outside the valid
                                     // range; text through ParseDate, 13 if it refuses
  ObjectRef ToObject() const;        // raises 424 (object required) for a non-object

  // Access without conversion; nullptr if the kind differs.
  const std::string* AsString() const noexcept { return std::get_if<std::string>(&m_data); }
  const ObjectRef* AsObject() const noexcept { return std::get_if<ObjectRef>(&m_data); }

  // Structural equality: same kind and same content (objects by identity).
  bool operator==(const Value& other) const noexcept;

 private:
  struct BoolBox {
    bool value;
    bool operator==(const BoolBox&) const = default;
  };
  std::variant<std::monostate, NullTag, int16_t, int32_t, float, double, BoolBox, OleDate,
               std::string, ObjectRef>
      m_data;
  friend bool operator==(NullTag, NullTag) { return true; }
};

// The host's IsNumeric: numbers, Booleans and Empty; text that parses as a whole number
// (see ParseNumber); not dates, not Null, not objects.
bool IsNumeric(const Value& value);
// The host's IsDate: a Date, or text that date recognition accepts.
bool IsDate(const Value& value);

// Parses a whole text as a number, as IsNumeric does; nullopt if it isn't one. Accepted:
// blanks (space, tab, CR, LF) around it, one sign, digits with one optional decimal point
// (".5", "5."), an optional exponent "E"/"D" with sign ("1.5e3", "2D-1"); or "&H" with hex digits,
// "&O" with octal digits, as the host reads them: a value up to &HFFFF is a 16-bit and a
// larger one a 32-bit two's complement number ("&H1F" is 31, "&HFFFF" is -1, "&H10000"
// 65536, "&HFFFFFFFF" -1); beyond 32 bits it isn't a number. No thousands separators,
// currency signs or locale forms. A number beyond the Double range is not a number here;
// ToDouble reports it as overflow (6).
std::optional<double> ParseNumber(std::string_view text);
// The host's Val: the leading number of a text. Leading blanks are skipped, then the
// longest prefix that ParseNumber's grammar accepts is read ("&H" forms too); the rest is
// ignored and no number at all reads 0 (" 12abc" is 12, "abc" is 0, "1e" is 1). Never
// raises: a number beyond the Double range reads as the largest Double of its sign.
double LeadingNumber(std::string_view text) noexcept;

// Date recognition, blanks (space, tab, CR, LF) around the text allowed: ISO forms
// ("2026-03-05", "2026-03-05 14:30[:00]", "2026-03-05T14:30:00Z", fractions of a second kept to the
// millisecond; "Z" is accepted and ignored, no offsets), "M/D/YYYY [h:mm[:ss] [AM|PM]]"
// (1 or 2 digit month, day and hour, 4 digit year; "12:00 AM" is midnight, "12:00 PM"
// noon), and a time alone ("14:30", "2:30 PM") as a date part 0. nullopt for anything
// else, including impossible dates ("2026-02-30", "13/45/2026") and empty text.
std::optional<OleDate> ParseDate(std::string_view text);
// The default date text: "YYYY-MM-DD HH:MM:SS", "YYYY-MM-DD" at midnight and "HH:MM:SS"
// when the date part is 0 (so date 0 is "00:00:00"). The time is rounded to the second.
std::string FormatDate(OleDate date);
// The text of a Double as the host writes it: rounded to 15 significant digits, no
// trailing zeros, "." as decimal point. Magnitudes from 1E-04 up to below 1E+15 are written
// plainly ("0.0001", "999999999999999"); outside that, and after rounding to 15 digits,
// with an exponent of at least two digits ("1E-05", "1.5E-06", "1E+15",
// "1.23456789012346E+17"). Minus zero is "0".
std::string FormatDouble(double value);

// Rounds half to even, as the host's integer conversions do.
double RoundHalfEven(double value);

}  // namespace korad
