// The evaluator as the script host's class: created by its class id, a VBScript host only.
#include "contracts/class_registry.h"
#include "platform/vbscript/script_control_class.h"
#include "support/error_number.h"
#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

TEST(ScriptControlClass, IsCreatedByItsClassId) {
  ClassRegistry registry;
  RegisterScriptControl(registry);
  auto host = std::dynamic_pointer_cast<ScriptControl>(registry.TryCreate("msscriptcontrol.scriptcontrol"));
  ASSERT_NE(host, nullptr);
  EXPECT_TRUE(host->AllowUI());
  host->SetAllowUI(false);
  EXPECT_FALSE(host->AllowUI());
  host->SetLanguage("vbscript");
  EXPECT_EQ(host->Language(), "VBScript");
  EXPECT_EQ(testing::NumberOf([&] { host->SetLanguage("JScript"); }), kErrInvalidCall);
  host->AddCode("Function Twice(x)\r\nTwice = 2 * x\r\nEnd Function");
  EXPECT_EQ(host->Eval("Twice(21)").ToLong(), 42);
}

}  // namespace
}  // namespace korad::vbscript_test
