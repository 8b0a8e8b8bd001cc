// An object of an action's graph that a caller may have set to nothing: used through this,
// it raises 424 (object required) instead of being dereferenced.
#pragma once

#include <memory>

#include "contracts/error.h"

namespace korad {

template <class T>
T& ObjectRequired(const std::shared_ptr<T>& object) {
  if (!object) RaiseRuntimeError(kErrObjectRequired);
  return *object;
}

}  // namespace korad
