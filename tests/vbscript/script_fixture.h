// A script host on a fake clock, with helpers to read the error a call raises.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <initializer_list>
#include <string>
#include <string_view>

#include "contracts/error.h"
#include "platform/vbscript/vbscript_control.h"
#include "support/error_number.h"
#include "support/fake_clock.h"

namespace korad::vbscript_test {

using testing::FailureOf;

// Lines joined by CR LF, as the callers build code.
inline std::string Lines(std::initializer_list<std::string_view> lines) {
  std::string code;
  for (std::string_view line : lines) {
    if (!code.empty()) code += "\r\n";
    code += line;
  }
  return code;
}

inline OleDate At(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
  return *OleDate::FromCivil(y, mo, d, h, mi, s);
}

class ScriptTest : public ::testing::Test {
 protected:
  Value Eval(std::string_view expression) { return m_host->Eval(expression); }
  void Run(std::string_view code) { m_host->AddCode(code); }
  // The expression's value as text, for compact expectations.
  std::string Text(std::string_view expression) { return Eval(expression).ToText(); }
  std::string Type(std::string_view expression) { return Eval(expression).TypeName(); }
  Error EvalFailure(std::string_view expression) {
    return FailureOf([&] { m_host->Eval(expression); });
  }
  Error RunFailure(std::string_view code) {
    return FailureOf([&] { m_host->AddCode(code); });
  }

  korad::testing::ScopedPlatformClock m_clock;
  std::unique_ptr<VbScriptControl> m_host = std::make_unique<VbScriptControl>();
};

}  // namespace korad::vbscript_test
