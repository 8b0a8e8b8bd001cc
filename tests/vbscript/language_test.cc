// Statements, procedures and scopes, each scenario run as a script library would be.
#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

using LanguageTest = ScriptTest;

TEST_F(LanguageTest, NamesIgnoreCaseVariablesNeedNoDeclarationAndLaterCodeReplacesProcedures) {
  Run(Lines({"DIM Total", "total = 5", "If TOTAL = 5 then count = 1 else count = 2", "FUNCTION Twice(x)",
             "  twice = X * 2", "END function"}));
  EXPECT_EQ(Text("Count"), "1");
  EXPECT_EQ(Text("TWICE(tOtAl)"), "10");
  EXPECT_EQ(Type("never_assigned"), "Empty");

  // Code added later replaces a procedure and sees earlier globals.
  Run(Lines({"base = 100", "Function Value_Of()", "  Value_Of = base + 1", "End Function"}));
  EXPECT_EQ(Text("Value_Of()"), "101");
  Run(Lines({"Function Value_Of()", "  Value_Of = base + 2", "End Function"}));
  EXPECT_EQ(Text("Value_Of"), "102");
}

TEST_F(LanguageTest, ProceduresTakeArgumentsByReferenceUnlessByValOrParenthesised) {
  Run(Lines({"Sub Bump(ByRef n)", "  n = n + 1", "End Sub",
             "Sub Keep(ByVal n)", "  n = n + 100", "End Sub",
             "Sub Plain(n)", "  n = n * 10", "End Sub",
             "a = 1", "Bump a", "Call Bump(a)", "Keep a", "Plain a", "Plain (a)", "Bump(a)",
             "b = 7", "Plain b + 0"}));
  // Bump twice (3), Keep leaves it, Plain makes 30; "(a)" and "Bump(a)" pass copies.
  EXPECT_EQ(Text("a"), "30");
  EXPECT_EQ(Text("b"), "7");
}

TEST_F(LanguageTest, FunctionsReturnThroughTheirNameAndExitEarly) {
  Run(Lines({"Function Classify(n)", "  Classify = \"small\"", "  If n < 10 Then Exit Function",
             "  Classify = \"large\"", "End Function",
             "Function Nothing_Set()", "End Function",
             "Sub Note(text)", "  last = text", "  Exit Sub", "  last = \"never\"", "End Sub"}));
  EXPECT_EQ(Text("Classify(3)"), "small");
  EXPECT_EQ(Text("Classify(30)"), "large");
  EXPECT_EQ(Type("Nothing_Set()"), "Empty");
  m_host->ExecuteStatement("Note \"hello\"");
  // `last` was made inside the Sub: it is local and gone.
  EXPECT_EQ(Type("last"), "Empty");
}

TEST_F(LanguageTest, RecursionAndProcedureScopes) {
  Run(Lines({"Function Fact(n)", "  If n <= 1 Then", "    Fact = 1", "  Else", "    Fact = n * Fact(n - 1)",
             "  End If", "End Function",
             "Function Fib(n)", "  If n < 2 Then Fib = n Else Fib = Fib(n - 1) + Fib(n - 2)", "End Function",
             "g = \"global\"",
             "Function ReadGlobal()", "  ReadGlobal = g", "End Function",
             "Function ShadowGlobal()", "  Dim g", "  g = \"local\"", "  ShadowGlobal = g", "End Function",
             "Sub WriteGlobal()", "  g = \"written\"", "End Sub"}));
  EXPECT_EQ(Text("Fact(10)"), "3628800");
  EXPECT_EQ(Type("Fact(7)"), "Integer");  // 5040 fits
  EXPECT_EQ(Type("Fact(8)"), "Long");     // 40320 widens
  EXPECT_EQ(Text("Fib(15)"), "610");
  EXPECT_EQ(Text("ReadGlobal()"), "global");
  EXPECT_EQ(Text("ShadowGlobal() & g"), "localglobal");
  m_host->ExecuteStatement("WriteGlobal");
  EXPECT_EQ(Text("g"), "written");
}

TEST_F(LanguageTest, IfElseIfElseInBlocksAndOnOneLine) {
  Run(Lines({"Function Grade(n)", "  If n >= 90 Then", "    Grade = \"A\"", "  ElseIf n >= 80 Then",
             "    Grade = \"B\"", "  ElseIf n >= 70 Then", "    Grade = \"C\"", "  Else", "    Grade = \"F\"",
             "  End If", "End Function",
             "Function Sign(n)", "  If n > 0 Then Sign = 1 Else If n < 0 Then Sign = -1 Else Sign = 0",
             "End Function",
             "Function Both(n)", "  If n Then a = 1: b = 2 Else a = 3: b = 4", "  Both = a & b",
             "End Function"}));
  EXPECT_EQ(Text("Grade(95) & Grade(85) & Grade(75) & Grade(5)"), "ABCF");
  EXPECT_EQ(Text("Sign(5) & Sign(-5) & Sign(0)"), "1-10");
  EXPECT_EQ(Text("Both(True) & Both(False)"), "1234");
}

TEST_F(LanguageTest, SelectCaseWithValueListsAndCaseElse) {
  Run(Lines({"Function Kind(x)", "  Select Case x", "    Case 1, 2, 3", "      Kind = \"low\"",
             "    Case \"a\", \"b\": Kind = \"letter\"", "    Case Else", "      Kind = \"other\"",
             "  End Select", "End Function"}));
  EXPECT_EQ(Text("Kind(2)"), "low");
  EXPECT_EQ(Text("Kind(\"b\")"), "letter");
  EXPECT_EQ(Text("Kind(\"B\")"), "other");
  EXPECT_EQ(Text("Kind(4)"), "other");
  EXPECT_EQ(Text("Kind(Null)"), "other");
}

TEST_F(LanguageTest, LoopsOfEveryShapeAndTheirExits) {
  Run(Lines({
      "s = \"\"", "For i = 1 To 10 Step 3 : s = s & i & \",\" : Next", "forUp = s",
      "s = \"\"", "For i = 5 To 1 Step -2", "  s = s & i", "Next i", "forDown = s & \"/\" & i",
      "s = \"\"", "For i = 1 To 0", "  s = \"ran\"", "Next", "forNone = s",
      "For i = 1 To 100", "  If i * i > 50 Then Exit For", "Next", "forExit = i",
      "n = 0", "Do While n < 5", "  n = n + 1", "Loop", "doWhile = n",
      "n = 0", "Do Until n >= 3", "  n = n + 1", "Loop", "doUntil = n",
      "n = 10", "Do", "  n = n + 1", "Loop While n < 5", "doAfter = n",
      "n = 0", "Do", "  n = n + 1", "  If n = 7 Then Exit Do", "Loop", "doExit = n",
      "n = 0", "Do", "  n = n + 2", "Loop Until n > 5", "doAfterUntil = n",
      "n = 0", "While n < 4", "  n = n + 1", "Wend", "whileWend = n",
      "n = 0", "Do", "  For j = 1 To 3", "    n = n + 1", "    If n = 5 Then Exit Do", "  Next", "Loop",
      "nestedExit = n & \"/\" & j",
      "s = \"\"", "For Each part In Split(\"x y z\")", "  s = s & part", "Next", "forEach = s",
  }));
  EXPECT_EQ(Text("forUp"), "1,4,7,10,");
  EXPECT_EQ(Text("forDown"), "531/-1");
  EXPECT_EQ(Text("forNone"), "");
  EXPECT_EQ(Text("forExit"), "8");
  EXPECT_EQ(Text("doWhile & doUntil & doAfter & doExit & doAfterUntil & whileWend"), "53117" "64");
  EXPECT_EQ(Text("nestedExit"), "5/2");
  EXPECT_EQ(Text("forEach"), "xyz");
}

TEST_F(LanguageTest, CommentsContinuationsAndSeparators) {
  Run("' a comment line\r\n"
      "x = 1 ' trailing comment\r\n"
      "Rem a Rem line\r\n"
      "y = 2 : Rem after a separator\r\n"
      "z = x + _\r\n"
      "    y + _  \r\n"
      "    3\n"
      "s = \"it's \"\"quoted\"\" ' not a comment\"\r"
      "w = &H1F + &hff");
  EXPECT_EQ(Text("z"), "6");
  EXPECT_EQ(Text("s"), "it's \"quoted\" ' not a comment");
  EXPECT_EQ(Text("w"), "286");
}

TEST_F(LanguageTest, ArraysFromSplitDimAndArrayAreValues) {
  Run(Lines({"parts = Split(\"a,b,c\", \",\")", "first = parts(0)", "parts(1) = \"B\"",
             "copy = parts", "copy(2) = \"changed\"",
             "Dim fixed(2)", "fixed(0) = 10 : fixed(2) = 30",
             "ReDim Preserve fixed(3)", "fixed(3) = 40",
             "Sub SetFirst(arr)", "  arr(0) = \"set\"", "End Sub", "SetFirst copy"}));
  EXPECT_EQ(Text("first"), "a");
  EXPECT_EQ(Text("Join(parts, \"-\")"), "a-B-c");
  EXPECT_EQ(Text("Join(copy, \"-\")"), "set-B-changed");
  EXPECT_EQ(Text("UBound(fixed) & \":\" & fixed(0) & fixed(1) & fixed(2) & fixed(3)"), "3:103040");
  EXPECT_EQ(Text("UBound(Split(\"\")) & LBound(parts) & UBound(Array(1, 2))"), "-101");
  EXPECT_EQ(Text("TypeName(parts) & IsArray(parts) & IsArray(first)"), "Variant()TrueFalse");
}

TEST_F(LanguageTest, ConstantsAndOptionExplicit) {
  Run(Lines({"Const Limit = 10", "Const Negative = -2"}));
  EXPECT_EQ(Text("Limit + Negative"), "8");
  Error e = RunFailure("Limit = 11");
  EXPECT_EQ(e.Number(), 501);
  EXPECT_EQ(e.Description(), "Illegal assignment: 'Limit'");

  Run(Lines({"Option Explicit", "Dim declared", "declared = 1"}));
  e = EvalFailure("undeclared + 1");
  EXPECT_EQ(e.Number(), 500);
  EXPECT_EQ(e.Description(), "Variable is undefined: 'undeclared'");
  EXPECT_EQ(RunFailure("other = 2").Description(), "Variable is undefined: 'other'");
}

}  // namespace
}  // namespace korad::vbscript_test
