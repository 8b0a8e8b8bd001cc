// The language's operators on Values: arithmetic with its widening of Integer to Long to
// Double, string joining, comparisons and the logical operators that work bit by bit on
// numbers and as logic on Booleans. Null passes through as the language says.
#pragma once

#include <optional>

#include "contracts/value.h"
#include "platform/vbscript/ast.h"

namespace korad::vbscript {

// An operand written as a literal in the script. A literal decides how a comparison of a
// string with a number goes: "10" = 10 converts the string when 10 is written as is, while
// two variables holding "10" and 10 differ (a number sorts before any string).
struct Operand {
  const Value& value;
  bool literal = false;
};

// Arithmetic, "&", comparisons and logic. `maxText` bounds the length of a joined string
// ("Out of string space", 14, beyond it).
Value ApplyBinary(Operator op, Operand left, Operand right, size_t maxText);
Value ApplyUnary(Operator op, const Value& operand);

// -1, 0 or 1; nullopt when either side is Null. Objects and arrays raise 13.
std::optional<int> Compare(Operand left, Operand right);

// The truth of a condition (If, While, Until): Null counts as False.
bool IsTrue(const Value& condition);

}  // namespace korad::vbscript
