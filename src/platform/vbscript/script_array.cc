#include "platform/vbscript/script_array.h"

#include "contracts/error.h"

namespace korad::vbscript {

ScriptArray* AsArray(const Value& value) noexcept {
  const ObjectRef* object = value.AsObject();
  if (!object || !*object || (*object)->ClassId() != ScriptArray::kClassId) return nullptr;
  return static_cast<ScriptArray*>(object->get());
}

Value MakeArray(std::vector<Value> items) {
  auto array = std::make_shared<ScriptArray>();
  array->items = std::move(items);
  return Value(ObjectRef(std::move(array)));
}

Value& ArrayElement(ScriptArray& array, const Value& index) {
  const int32_t i = index.ToLong();
  if (i < 0 || static_cast<size_t>(i) >= array.items.size()) RaiseRuntimeError(kErrSubscriptRange);
  return array.items[static_cast<size_t>(i)];
}

}  // namespace korad::vbscript
