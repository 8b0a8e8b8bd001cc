// The engine's one-dimensional array, as Split, Array and Dim a(n) make it. It travels
// inside a Value as an object whose type name is "Variant()"; variables share it until
// one of them writes an element, which then copies it (arrays are values in the language).
#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "contracts/object.h"

namespace korad::vbscript {

class ScriptArray final : public Object {
 public:
  static constexpr std::string_view kClassId = "Variant()";
  std::string_view ClassId() const noexcept override { return kClassId; }

  std::vector<Value> items;  // lower bound 0
};

// The array a value holds, or nullptr.
ScriptArray* AsArray(const Value& value) noexcept;
Value MakeArray(std::vector<Value> items);

// The element at `index` (a number), raising "Subscript out of range" (9) outside it.
Value& ArrayElement(ScriptArray& array, const Value& index);

}  // namespace korad::vbscript
