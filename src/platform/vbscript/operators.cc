#include "platform/vbscript/operators.h"

#include <cfloat>
#include <cmath>
#include <string>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

// How wide a number kind is; the wider operand decides the kind of a result, which then
// widens further when the value doesn't fit (Integer to Long to Double).
enum Rank { kIntegerRank, kLongRank, kSingleRank, kDoubleRank };

Rank RankOf(const Value& v) {
  switch (v.Kind()) {
    case ValueKind::Empty:
    case ValueKind::Boolean:
    case ValueKind::Integer: return kIntegerRank;
    case ValueKind::Long: return kLongRank;
    case ValueKind::Single: return kSingleRank;
    case ValueKind::Null:
    case ValueKind::Object: RaiseRuntimeError(kErrTypeMismatch);
    default: return kDoubleRank;  // Double, Date, and text read as a number
  }
}

Value MakeNumber(double v, Rank rank) {
  if (!std::isfinite(v)) RaiseRuntimeError(kErrOverflow);
  if (rank == kIntegerRank && v >= -32768.0 && v <= 32767.0) return Value(static_cast<int16_t>(v));
  if (rank <= kLongRank && v >= -2147483648.0 && v <= 2147483647.0) return Value(static_cast<int32_t>(v));
  if (rank == kSingleRank && std::fabs(v) <= FLT_MAX) return Value(static_cast<float>(v));
  return Value(v);
}

Value MakeDate(double days) {
  const OleDate date(days);
  if (!date.IsValid()) RaiseRuntimeError(kErrOverflow);
  return Value(date);
}

bool IsDateKind(const Value& v) { return v.Kind() == ValueKind::Date; }

Value Add(const Value& a, const Value& b, size_t maxText) {
  if (a.IsString() && (b.IsString() || b.IsEmpty())) return ApplyBinary(Operator::kConcat, {a}, {b}, maxText);
  if (b.IsString() && a.IsEmpty()) return b;
  const Rank rank = std::max(RankOf(a), RankOf(b));
  const double sum = a.ToDouble() + b.ToDouble();
  if (IsDateKind(a) || IsDateKind(b)) return MakeDate(sum);
  return MakeNumber(sum, rank);
}

Value Subtract(const Value& a, const Value& b) {
  const Rank rank = std::max(RankOf(a), RankOf(b));
  const double difference = a.ToDouble() - b.ToDouble();
  if (IsDateKind(a) && IsDateKind(b)) return Value(difference);
  if (IsDateKind(a) || IsDateKind(b)) return MakeDate(difference);
  return MakeNumber(difference, rank);
}

// Integer division and Mod round both sides to Long first.
Value IntegerOp(Operator op, const Value& a, const Value& b) {
  const Rank rank = std::max(RankOf(a), RankOf(b)) == kIntegerRank ? kIntegerRank : kLongRank;
  const int64_t x = a.ToLong();
  const int64_t y = b.ToLong();
  if (y == 0) RaiseScriptError(kErrDivisionByZero);
  return MakeNumber(static_cast<double>(op == Operator::kIntDiv ? x / y : x % y), rank);
}

Value Divide(const Value& a, const Value& b) {
  const double x = a.ToDouble();
  const double y = b.ToDouble();
  if (y == 0.0) RaiseScriptError(x == 0.0 ? kErrOverflow : kErrDivisionByZero);
  return MakeNumber(x / y, kDoubleRank);
}

Value Power(const Value& a, const Value& b) {
  const double result = std::pow(a.ToDouble(), b.ToDouble());
  if (std::isnan(result)) RaiseRuntimeError(kErrInvalidCall);
  return MakeNumber(result, kDoubleRank);
}

Value Concat(const Value& a, const Value& b, size_t maxText) {
  if (a.IsNull() && b.IsNull()) return Value(Value::Null);
  const std::string left = a.IsNull() ? std::string() : a.ToText();
  const std::string right = b.IsNull() ? std::string() : b.ToText();
  if (left.size() + right.size() > maxText) RaiseScriptError(kErrOutOfStringSpace);
  return Value(left + right);
}

// A logical operand: text reads as a Boolean when it says True or False, else as a number.
Value LogicalOperand(const Value& v) {
  if (const std::string* text = v.AsString()) {
    const std::string_view trimmed = TrimBlanks(*text);
    if (EqualsNoCase(trimmed, "True")) return Value(true);
    if (EqualsNoCase(trimmed, "False")) return Value(false);
    return Value(v.ToDouble());
  }
  if (v.IsObject()) RaiseRuntimeError(kErrTypeMismatch);
  return v;
}

int64_t Bits(Operator op, int64_t x, int64_t y) {
  switch (op) {
    case Operator::kAnd: return x & y;
    case Operator::kOr: return x | y;
    case Operator::kXor: return x ^ y;
    case Operator::kEqv: return ~(x ^ y);
    default: return ~x | y;  // Imp
  }
}

bool IsFalseValue(const Value& v) { return !v.IsNull() && v.ToDouble() == 0.0; }
bool IsTrueBoolean(const Value& v) { return v.Kind() == ValueKind::Boolean && v.ToBoolean(); }

Value Logical(Operator op, const Value& rawA, const Value& rawB) {
  const Value a = rawA.IsNull() ? rawA : LogicalOperand(rawA);
  const Value b = rawB.IsNull() ? rawB : LogicalOperand(rawB);
  if (a.IsNull() || b.IsNull()) {
    // What the known side settles alone: False And Null is False, True Or Null is True.
    const Value& other = a.IsNull() ? b : a;
    if (op == Operator::kAnd && IsFalseValue(other)) return other;
    if (op == Operator::kOr && IsTrueBoolean(other)) return other;
    return Value(Value::Null);
  }
  const int64_t bits = Bits(op, a.ToLong(), b.ToLong());
  if (a.Kind() == ValueKind::Boolean && b.Kind() == ValueKind::Boolean) return Value(bits != 0);
  const Rank rank = std::max(RankOf(a), RankOf(b)) == kIntegerRank ? kIntegerRank : kLongRank;
  return MakeNumber(static_cast<double>(static_cast<int32_t>(bits)), rank);
}

bool IsNumberLike(const Value& v) { return v.IsNumberKind() || v.Kind() == ValueKind::Boolean || IsDateKind(v); }

int Order(double x, double y) { return x < y ? -1 : (x > y ? 1 : 0); }

int CompareText(std::string_view x, std::string_view y) {
  const int c = x.compare(y);
  return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

// A number compared with text: the side written as a literal converts the other. Text
// that doesn't convert compares as text does with a number: greater.
int CompareMixed(const Value& number, bool numberLiteral, const Value& text, bool textLiteral) {
  if (numberLiteral) {
    std::optional<double> converted;
    if (number.Kind() == ValueKind::Boolean) {
      const std::string_view trimmed = TrimBlanks(*text.AsString());
      if (EqualsNoCase(trimmed, "True")) converted = kTrue;
      else if (EqualsNoCase(trimmed, "False")) converted = kFalse;
      else if (const auto n = ParseNumber(trimmed)) converted = *n != 0.0 ? kTrue : kFalse;
    } else if (IsDateKind(number)) {
      if (const auto date = ParseDate(*text.AsString())) converted = date->Days();
    } else {
      converted = ParseNumber(*text.AsString());
    }
    if (converted) return Order(number.ToDouble(), *converted);
  }
  if (textLiteral) return CompareText(number.ToText(), *text.AsString());
  return -1;  // a number sorts before any text
}

bool ComparisonHolds(Operator op, int order) {
  switch (op) {
    case Operator::kEq: return order == 0;
    case Operator::kNe: return order != 0;
    case Operator::kLt: return order < 0;
    case Operator::kGt: return order > 0;
    case Operator::kLe: return order <= 0;
    default: return order >= 0;  // kGe
  }
}

}  // namespace

std::optional<int> Compare(Operand left, Operand right) {
  const Value& a = left.value;
  const Value& b = right.value;
  if (a.IsNull() || b.IsNull()) return std::nullopt;
  if (a.IsObject() || b.IsObject()) RaiseRuntimeError(kErrTypeMismatch);
  if (a.IsEmpty() && b.IsEmpty()) return 0;
  if (a.IsString() && b.IsString()) return CompareText(*a.AsString(), *b.AsString());
  if (a.IsEmpty()) return b.IsString() ? CompareText("", *b.AsString()) : Order(0.0, b.ToDouble());
  if (b.IsEmpty()) return a.IsString() ? CompareText(*a.AsString(), "") : Order(a.ToDouble(), 0.0);
  if (IsNumberLike(a) && IsNumberLike(b)) {
    if (IsDateKind(a) && IsDateKind(b)) {
      const auto order = a.ToDate() <=> b.ToDate();
      return order < 0 ? -1 : (order > 0 ? 1 : 0);
    }
    return Order(a.ToDouble(), b.ToDouble());
  }
  if (IsNumberLike(a)) return CompareMixed(a, left.literal, b, right.literal);
  return -CompareMixed(b, right.literal, a, left.literal);
}

Value ApplyBinary(Operator op, Operand left, Operand right, size_t maxText) {
  const Value& a = left.value;
  const Value& b = right.value;
  switch (op) {
    case Operator::kConcat: return Concat(a, b, maxText);
    case Operator::kIs: return Value(a.ToObject() == b.ToObject());
    case Operator::kEq:
    case Operator::kNe:
    case Operator::kLt:
    case Operator::kGt:
    case Operator::kLe:
    case Operator::kGe: {
      const auto order = Compare(left, right);
      if (!order) return Value(Value::Null);
      return Value(ComparisonHolds(op, *order));
    }
    case Operator::kAnd:
    case Operator::kOr:
    case Operator::kXor:
    case Operator::kEqv:
    case Operator::kImp: return Logical(op, a, b);
    default: break;
  }
  if (a.IsNull() || b.IsNull()) return Value(Value::Null);
  switch (op) {
    case Operator::kAdd: return Add(a, b, maxText);
    case Operator::kSub: return Subtract(a, b);
    case Operator::kMul: return MakeNumber(a.ToDouble() * b.ToDouble(), std::max(RankOf(a), RankOf(b)));
    case Operator::kDiv: return Divide(a, b);
    case Operator::kIntDiv:
    case Operator::kMod: return IntegerOp(op, a, b);
    case Operator::kPow: return Power(a, b);
    default: RaiseRuntimeError(kErrTypeMismatch);
  }
}

Value ApplyUnary(Operator op, const Value& v) {
  if (v.IsNull()) return v;
  if (op == Operator::kNot) {
    const Value operand = LogicalOperand(v);
    if (operand.Kind() == ValueKind::Boolean) return Value(!operand.ToBoolean());
    return MakeNumber(static_cast<double>(~operand.ToLong()),
                      RankOf(operand) == kIntegerRank ? kIntegerRank : kLongRank);
  }
  if (IsDateKind(v)) return MakeDate(-v.ToDouble());
  return MakeNumber(-v.ToDouble(), RankOf(v));
}

bool IsTrue(const Value& condition) { return !condition.IsNull() && condition.ToBoolean(); }

}  // namespace korad::vbscript
