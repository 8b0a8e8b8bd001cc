// The number of the korad::Error a call raises, for tests of the host's error numbers.
#pragma once

#include <cstdint>
#include <functional>

#include "contracts/error.h"

namespace korad::testing {

// 0 when the call returns normally; -1 when it throws something that isn't an Error.
inline int32_t NumberOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Number();
  } catch (...) {
    return -1;
  }
  return 0;
}

}  // namespace korad::testing
