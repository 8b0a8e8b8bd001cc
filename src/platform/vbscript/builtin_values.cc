// Conversions, arithmetic helpers, type tests, arrays and the named constants. Every
// conversion is Value's; these only pick the one the language's function names.
#include <cmath>
#include <string>

#include "contracts/error.h"
#include "platform/vbscript/builtins.h"
#include "platform/vbscript/script_array.h"

namespace korad::vbscript {
namespace {

Value CInt(Arguments a, const BuiltinLimits&) { return Value(a[0].ToInteger()); }
Value CLng(Arguments a, const BuiltinLimits&) { return Value(a[0].ToLong()); }
Value CDbl(Arguments a, const BuiltinLimits&) { return Value(a[0].ToDouble()); }
Value CSng(Arguments a, const BuiltinLimits&) { return Value(a[0].ToSingle()); }
Value CStr(Arguments a, const BuiltinLimits&) { return Value(a[0].ToText()); }
Value CBool(Arguments a, const BuiltinLimits&) { return Value(a[0].ToBoolean()); }
Value CDate(Arguments a, const BuiltinLimits&) { return Value(a[0].ToDate()); }

// There is no Byte kind here: CByte checks the range and gives an Integer.
Value CByte(Arguments a, const BuiltinLimits&) {
  const int16_t value = a[0].ToInteger();
  if (value < 0 || value > 255) RaiseRuntimeError(kErrOverflow);
  return Value(value);
}

// A whole number in the kind of the argument: Integer and Long stay, text becomes Double.
Value SameKind(const Value& like, double value) {
  switch (like.Kind()) {
    case ValueKind::Empty:
    case ValueKind::Boolean:
    case ValueKind::Integer:
      if (value >= -32768 && value <= 32767) return Value(static_cast<int16_t>(value));
      [[fallthrough]];
    case ValueKind::Long:
      if (value >= -2147483648.0 && value <= 2147483647.0) return Value(static_cast<int32_t>(value));
      return Value(value);
    case ValueKind::Single: return Value(static_cast<float>(value));
    case ValueKind::Date: {
      const OleDate date(value);
      if (!date.IsValid()) RaiseRuntimeError(kErrOverflow);
      return Value(date);
    }
    default: return Value(value);
  }
}

Value Abs(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const Value& v = a[0];
  return v.Kind() == ValueKind::Date ? Value(std::fabs(v.ToDouble())) : SameKind(v, std::fabs(v.ToDouble()));
}

Value Int(Arguments a, const BuiltinLimits&) { return a[0].IsNull() ? a[0] : SameKind(a[0], std::floor(a[0].ToDouble())); }
Value Fix(Arguments a, const BuiltinLimits&) { return a[0].IsNull() ? a[0] : SameKind(a[0], std::trunc(a[0].ToDouble())); }

// Round(number[, places]) rounds half to even.
Value Round(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const int32_t places = Optional(a, 1) ? a[1].ToLong() : 0;
  if (places < 0 || places > 15) RaiseRuntimeError(kErrInvalidCall);
  const double value = a[0].ToDouble();
  if (places == 0) {
    const double rounded = RoundHalfEven(value);
    return a[0].IsString() || a[0].Kind() == ValueKind::Date ? Value(rounded) : SameKind(a[0], rounded);
  }
  const double scale = std::pow(10.0, places);
  const double scaled = value * scale;
  if (!std::isfinite(scaled)) return Value(value);
  return Value(RoundHalfEven(scaled) / scale);
}

Value Sgn(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const double v = a[0].ToDouble();
  return Value(static_cast<int16_t>(v > 0 ? 1 : (v < 0 ? -1 : 0)));
}

Value Sqr(Arguments a, const BuiltinLimits&) {
  const double v = a[0].ToDouble();
  if (v < 0) RaiseRuntimeError(kErrInvalidCall);
  return Value(std::sqrt(v));
}

// Hex and Oct of an Integer show 16 bits, of anything else 32.
template <int Radix>
Value RadixText(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const int32_t value = a[0].ToLong();
  uint32_t bits = static_cast<uint32_t>(value);
  if (a[0].Kind() == ValueKind::Integer || a[0].Kind() == ValueKind::Boolean) bits &= 0xFFFFu;
  std::string text;
  do {
    text.insert(text.begin(), "0123456789ABCDEF"[bits % Radix]);
    bits /= Radix;
  } while (bits != 0);
  return Value(std::move(text));
}

Value IsNumericFn(Arguments a, const BuiltinLimits&) { return Value(IsNumeric(a[0])); }
Value IsDateFn(Arguments a, const BuiltinLimits&) { return Value(IsDate(a[0])); }
Value IsEmptyFn(Arguments a, const BuiltinLimits&) { return Value(a[0].IsEmpty()); }
Value IsNullFn(Arguments a, const BuiltinLimits&) { return Value(a[0].IsNull()); }
Value IsArrayFn(Arguments a, const BuiltinLimits&) { return Value(AsArray(a[0]) != nullptr); }
Value IsObjectFn(Arguments a, const BuiltinLimits&) { return Value(a[0].IsObject() && !AsArray(a[0])); }
Value TypeNameFn(Arguments a, const BuiltinLimits&) { return Value(a[0].TypeName()); }

Value VarType(Arguments a, const BuiltinLimits&) {
  if (AsArray(a[0])) return Value(static_cast<int16_t>(8204));  // an array of Variants
  constexpr int16_t kCodes[] = {0, 1, 2, 3, 4, 5, 11, 7, 8, 9};  // in ValueKind order
  return Value(kCodes[static_cast<size_t>(a[0].Kind())]);
}

Value ArrayFn(Arguments a, const BuiltinLimits&) { return MakeArray(std::vector<Value>(a.begin(), a.end())); }

const ScriptArray& ArrayArgument(Arguments a) {
  const ScriptArray* array = AsArray(a[0]);
  if (!array) RaiseRuntimeError(kErrTypeMismatch);
  if (Optional(a, 1) && a[1].ToLong() != 1) RaiseRuntimeError(kErrSubscriptRange);
  return *array;
}

Value LBound(Arguments a, const BuiltinLimits&) {
  ArrayArgument(a);
  return Value(int32_t{0});
}
Value UBound(Arguments a, const BuiltinLimits&) {
  return Value(static_cast<int32_t>(ArrayArgument(a).items.size()) - 1);
}

template <int16_t N>
Value IntegerConstant(Arguments, const BuiltinLimits&) { return Value(N); }
Value VbCrLf(Arguments, const BuiltinLimits&) { return Value("\r\n"); }
Value VbCr(Arguments, const BuiltinLimits&) { return Value("\r"); }
Value VbLf(Arguments, const BuiltinLimits&) { return Value("\n"); }
Value VbTab(Arguments, const BuiltinLimits&) { return Value("\t"); }
Value VbNullString(Arguments, const BuiltinLimits&) { return Value(""); }
Value VbNullChar(Arguments, const BuiltinLimits&) { return Value(std::string(1, '\0')); }

constexpr Builtin kValues[] = {
    {"CInt", 1, 1, CInt},           {"CLng", 1, 1, CLng},         {"CDbl", 1, 1, CDbl},
    {"CSng", 1, 1, CSng},           {"CStr", 1, 1, CStr},         {"CBool", 1, 1, CBool},
    {"CDate", 1, 1, CDate},         {"CByte", 1, 1, CByte},       {"Abs", 1, 1, Abs},
    {"Int", 1, 1, Int},             {"Fix", 1, 1, Fix},           {"Round", 1, 2, Round},
    {"Sgn", 1, 1, Sgn},             {"Sqr", 1, 1, Sqr},           {"Hex", 1, 1, RadixText<16>},
    {"Oct", 1, 1, RadixText<8>},    {"IsNumeric", 1, 1, IsNumericFn}, {"IsDate", 1, 1, IsDateFn},
    {"IsEmpty", 1, 1, IsEmptyFn},   {"IsNull", 1, 1, IsNullFn},   {"IsArray", 1, 1, IsArrayFn},
    {"IsObject", 1, 1, IsObjectFn}, {"TypeName", 1, 1, TypeNameFn}, {"VarType", 1, 1, VarType},
    {"Array", 0, 255, ArrayFn},     {"LBound", 1, 2, LBound},     {"UBound", 1, 2, UBound},
    {"vbCrLf", 0, 0, VbCrLf},       {"vbNewLine", 0, 0, VbCrLf},  {"vbCr", 0, 0, VbCr},
    {"vbLf", 0, 0, VbLf},           {"vbTab", 0, 0, VbTab},       {"vbNullString", 0, 0, VbNullString},
    {"vbNullChar", 0, 0, VbNullChar},
    {"vbUseSystemDayOfWeek", 0, 0, IntegerConstant<0>},
    {"vbSunday", 0, 0, IntegerConstant<1>},     {"vbMonday", 0, 0, IntegerConstant<2>},
    {"vbTuesday", 0, 0, IntegerConstant<3>},    {"vbWednesday", 0, 0, IntegerConstant<4>},
    {"vbThursday", 0, 0, IntegerConstant<5>},   {"vbFriday", 0, 0, IntegerConstant<6>},
    {"vbSaturday", 0, 0, IntegerConstant<7>},   {"vbBinaryCompare", 0, 0, IntegerConstant<0>},
    {"vbTextCompare", 0, 0, IntegerConstant<1>}, {"vbTrue", 0, 0, IntegerConstant<-1>},
    {"vbFalse", 0, 0, IntegerConstant<0>},
};

}  // namespace

std::span<const Builtin> ValueBuiltins() { return kValues; }

}  // namespace korad::vbscript
