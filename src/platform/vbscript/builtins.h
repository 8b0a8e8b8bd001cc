// The language's built-in functions and constants, found by name in any letter case.
// Each takes its arguments already evaluated; the caller has checked their number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "contracts/value.h"

namespace korad::vbscript {

// Bounds a built-in keeps to when it makes text or arrays, so that no call can take the
// process's memory: beyond them it raises "Out of string space" (14) or "Out of memory" (7).
struct BuiltinLimits {
  size_t maxText = 8u << 20;
  size_t maxArray = 1u << 20;
};

using Arguments = std::span<const Value>;
using BuiltinFunction = Value (*)(Arguments args, const BuiltinLimits& limits);

struct Builtin {
  std::string_view name;
  uint8_t minArgs;
  uint8_t maxArgs;
  BuiltinFunction function;
};

// nullptr when no built-in has the name.
const Builtin* FindBuiltin(std::string_view name);

// The tables, one per family (builtin_dates.cc, builtin_strings.cc, builtin_values.cc).
std::span<const Builtin> DateBuiltins();
std::span<const Builtin> StringBuiltins();
std::span<const Builtin> ValueBuiltins();

// Helpers the families share.
bool AnyNull(Arguments args);
// An optional argument: nullptr when the call left it out.
inline const Value* Optional(Arguments args, size_t index) {
  return index < args.size() ? &args[index] : nullptr;
}

}  // namespace korad::vbscript
