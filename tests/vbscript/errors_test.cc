// Scripts that don't compile, that run for ever, recurse without end or grow without
// bound: each ends in the engine's error, and the host stays usable after it.
#include <string>

#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

using ErrorTest = ScriptTest;

TEST_F(ErrorTest, CompilationErrorsCarryTheEnginesNumberTextAndLine) {
  struct Case {
    std::string code;
    int32_t number;
    const char* description;
  };
  const Case cases[] = {
      {"x = ", 1023, "Expected expression"},
      {"x = (1 + 2", 1006, "Expected ')'"},
      {"x = 1 2", 1025, "Expected end of statement"},
      {"x = \"abc", 1033, "Unterminated string constant"},
      {"x = 1 $ 2", 1032, "Invalid character"},
      {"x = #not a date#", 1002, "Syntax error"},
      {"If x y = 1", 1017, "Expected 'Then'"},
      {Lines({"If x Then", "y = 1"}), 1014, "Expected 'End'"},
      {Lines({"If x Then", "y = 1", "End Sub"}), 1012, "Expected 'If'"},
      {Lines({"For i = 1 To 3", "x = i"}), 1020, "Expected 'Next'"},
      {"For i = 1 3", 1013, "Expected 'To'"},
      {Lines({"Do", "x = 1"}), 1019, "Expected 'Loop'"},
      {Lines({"While x", "x = 1"}), 1018, "Expected 'Wend'"},
      {Lines({"Function F()", "F = 1"}), 1014, "Expected 'End'"},
      {Lines({"Function F()", "End Sub"}), 1015, "Expected 'Function'"},
      {Lines({"Select Case x", "x = 1", "End Select"}), 1021, "Expected 'Case'"},
      {"Exit For", 1039, "Invalid 'exit' statement"},
      {"Loop", 1038, "'loop' without 'do'"},
      {"Foo(1, 2)", 1044, "Cannot use parentheses when calling a Sub"},
      {"Dim", 1010, "Expected identifier"},
      {Lines({"Function F()", "End Function", "Function f()", "End Function"}), 1041, "Name redefined"},
      {"x = 1 _ 2", 1032, "Invalid character"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.code);
    const Error e = RunFailure(c.code);
    EXPECT_EQ(e.Number(), c.number);
    EXPECT_EQ(e.Description(), c.description);
  }
  EXPECT_EQ(RunFailure(Lines({"x = 1", "", "y = (2"})).Source(), "VBScript compilation error (line 3)");
  // Eval takes one expression and nothing after it.
  EXPECT_EQ(EvalFailure("1 = 1 Then").Number(), 1025);
  EXPECT_EQ(EvalFailure("").Number(), 1023);
}

TEST_F(ErrorTest, EveryRunHasItsOwnStepBudget) {
  m_host->SetStepLimit(1000);
  for (const std::string& code : {std::string("Do : Loop"), Lines({"While True", "Wend"}),
                                 Lines({"For i = 1 To 2 Step 0", "Next"}),
                                 Lines({"Do", "  x = x + 1", "Loop Until x < 0"})}) {
    SCOPED_TRACE(code);
    const Error e = RunFailure(code);
    EXPECT_EQ(e.Description(), "Script exceeded its run-time limit of 1000 steps");
  }
  // 300 turns of two steps each fit; running them again starts from nothing.
  Run(Lines({"Function Count()", "  For i = 1 To 300", "    n = n + 1", "  Next", "  Count = n", "End Function"}));
  EXPECT_EQ(Text("Count()"), "300");
  EXPECT_EQ(Text("Count()"), "300");
  m_host->SetStepLimit(500);
  EXPECT_EQ(EvalFailure("Count()").Description(), "Script exceeded its run-time limit of 500 steps");
}

TEST_F(ErrorTest, RecursionWithoutEndRunsOutOfStackSpace) {
  Run(Lines({"Function Down(n)", "  Down = Down(n + 1)", "End Function",
             "Function Depth(n)", "  If n = 0 Then Depth = 0 Else Depth = 1 + Depth(n - 1)", "End Function"}));
  const Error e = EvalFailure("Down(1)");
  EXPECT_EQ(e.Number(), 28);
  EXPECT_EQ(e.Description(), "Out of stack space");
  EXPECT_EQ(Text("Depth(200)"), "200");
  m_host->SetMaxCallDepth(50);
  EXPECT_EQ(EvalFailure("Depth(60)").Number(), 28);
  EXPECT_EQ(Text("Depth(40)"), "40");
}

TEST_F(ErrorTest, NestingTooDeepForTheParserIsRefused) {
  const std::string deep = "x = " + std::string(5000, '(') + "1" + std::string(5000, ')');
  EXPECT_EQ(RunFailure(deep).Number(), 28);
  std::string chain = "1";
  for (int i = 0; i < 5000; ++i) chain += " + 1";
  EXPECT_EQ(EvalFailure(chain).Number(), 28);
  std::string blocks;
  for (int i = 0; i < 500; ++i) blocks += "If True Then\r\n";
  EXPECT_EQ(RunFailure(blocks).Number(), 28);
  std::string shallow = "1";
  for (int i = 0; i < 300; ++i) shallow += " + 1";
  EXPECT_EQ(Text(shallow), "301");
}

TEST_F(ErrorTest, TextAndArraysCannotTakeTheMemory) {
  Error e = RunFailure(Lines({"s = \"x\"", "Do", "  s = s & s", "Loop"}));
  EXPECT_EQ(e.Number(), 14);
  EXPECT_EQ(e.Description(), "Out of string space");
  EXPECT_EQ(EvalFailure("Space(100000000)").Number(), 14);
  EXPECT_EQ(EvalFailure("Replace(String(1000000, \"a\"), \"a\", String(100, \"b\"))").Number(), 14);
  EXPECT_EQ(RunFailure("Dim big(100000000)").Number(), 7);
  EXPECT_EQ(EvalFailure("UBound(Split(String(2000000, \",\"), \",\"))").Number(), 7);
}

TEST_F(ErrorTest, TheHostStaysUsableAfterAFailure) {
  Run(Lines({"g = 5", "Function Bad()", "  localVar = 1", "  Bad = 1 / 0", "End Function",
             "Function Outer()", "  Outer = Bad()", "End Function"}));
  EXPECT_EQ(EvalFailure("Outer()").Number(), 11);
  // Back in the global scope: the failed call's locals are gone.
  EXPECT_EQ(Text("g"), "5");
  EXPECT_EQ(Type("localVar"), "Empty");
  EXPECT_EQ(RunFailure("g = 7 : h = 1 / 0").Number(), 11);
  EXPECT_EQ(Text("g"), "7");  // statements before the failure have run
}

TEST_F(ErrorTest, RunTimeErrorsNameWhatFailed) {
  Run("notArray = 5");
  Error e = EvalFailure("notArray(1)");
  EXPECT_EQ(e.Number(), 13);
  EXPECT_EQ(e.Description(), "Type mismatch: 'notArray'");
  EXPECT_EQ(EvalFailure("Split(\"a\")(3)").Number(), 9);
  EXPECT_EQ(RunFailure("Set o = 5").Number(), 424);
  EXPECT_EQ(RunFailure("undefinedArray(0) = 1").Description(), "Type mismatch: 'undefinedArray'");
  EXPECT_EQ(RunFailure("For Each x In 5 : Next").Number(), 451);
}

}  // namespace
}  // namespace korad::vbscript_test
