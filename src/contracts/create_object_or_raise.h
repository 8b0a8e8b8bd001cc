// CreateObjectAs for a caller that reports a failure in its own words: whatever went
// wrong in the making, the caller's text is raised as the library's error.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "contracts/class_registry.h"
#include "contracts/error.h"

namespace korad {

template <class T>
std::shared_ptr<T> CreateObjectOrRaise(std::string_view classId, const std::string& failure) {
  std::shared_ptr<T> object;
  try {
    object = CreateObjectAs<T>(classId);
  } catch (...) {
    object.reset();
  }
  if (!object) RaiseLibraryError(failure);
  return object;
}

}  // namespace korad
