// What a call raises, for tests of the library's error numbers and texts.
#pragma once

#include <cstdint>
#include <functional>

#include <gtest/gtest.h>

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

// The Error a call raises; a test failure (and a blank error) when it raises none.
inline Error FailureOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& e) {
    return e;
  }
  ADD_FAILURE() << "no error was raised";
  return Error(0, "", "");
}

}  // namespace korad::testing
