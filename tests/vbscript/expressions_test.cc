// Operators as the language defines them: precedence, the kinds of results, Null, and
// comparisons between kinds.
#include "support/error_number.h"
#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

using ExpressionTest = ScriptTest;

TEST_F(ExpressionTest, PrecedenceAndAssociativity) {
  EXPECT_EQ(Text("1 + 2 * 3"), "7");
  EXPECT_EQ(Text("-2 ^ 2"), "-4");        // ^ binds tighter than negation
  EXPECT_EQ(Text("2 ^ 3 ^ 2"), "64");     // and goes left to right
  EXPECT_EQ(Text("2 ^ -1"), "0.5");
  EXPECT_EQ(Text("7 \\ 2 * 2"), "1");     // * before \ (7 \ 4)
  EXPECT_EQ(Text("10 Mod 4 + 1"), "3");   // Mod before +
  EXPECT_EQ(Text("7 Mod 3 \\ 1"), "1");   // \ before Mod
  EXPECT_EQ(Text("\"a\" & 1 + 2"), "a3"); // + before &
  EXPECT_EQ(Text("Not 1 = 2"), "True");   // Not after comparisons
  EXPECT_EQ(Text("True Or False And False"), "True");
  EXPECT_EQ(Text("(1 + 2) * 3"), "9");
}

TEST_F(ExpressionTest, ArithmeticWidensIntegerToLongToDoubleAndDatesCountInDays) {
  EXPECT_EQ(Type("1 + 1"), "Integer");
  EXPECT_EQ(Type("32767 + 1"), "Long");
  EXPECT_EQ(Type("2147483647 + 1"), "Double");
  EXPECT_EQ(Type("200 * 200"), "Long");
  EXPECT_EQ(Type("4 / 2"), "Double");
  EXPECT_EQ(Type("7 \\ 2"), "Integer");
  EXPECT_EQ(Type("70000 \\ 2"), "Long");
  EXPECT_EQ(Type("True + True"), "Integer");
  EXPECT_EQ(Text("True + True"), "-2");
  EXPECT_EQ(Type("Empty + Empty"), "Integer");
  EXPECT_EQ(Text("-7 Mod 3"), "-1");
  EXPECT_EQ(Text("7.5 \\ 2"), "4");  // 7.5 rounds to 8 first
  EXPECT_EQ(Text("1.5 + 1"), "2.5");
  EXPECT_EQ(Text("-(-32768)"), "32768");
  // Dates add and subtract as days.
  EXPECT_EQ(Text("#2024-01-15# + 1"), "2024-01-16");
  EXPECT_EQ(Type("#2024-01-15# + 1"), "Date");
  EXPECT_EQ(Text("#2024-01-15 12:00# - #2024-01-14#"), "1.5");
  EXPECT_EQ(Type("#2024-01-16# - 0.25"), "Date");
  EXPECT_EQ(Text("#1/2/2024 3:04 PM#"), "2024-01-02 15:04:00");
}

TEST_F(ExpressionTest, PlusJoinsTextAndAddsTextThatIsANumber) {
  EXPECT_EQ(Text("\"ab\" + \"cd\""), "abcd");
  EXPECT_EQ(Type("\"2\" + 3"), "Double");
  EXPECT_EQ(Text("\"2\" + 3"), "5");
  EXPECT_EQ(Text("\"x\" + Empty"), "x");
  EXPECT_EQ(Text("1 & 2"), "12");
  EXPECT_EQ(Text("True & \"!\""), "True!");
  EXPECT_EQ(Text("Null & \"x\""), "x");
  EXPECT_EQ(EvalFailure("\"x\" + 1").Number(), kErrTypeMismatch);
}

TEST_F(ExpressionTest, LogicIsBitwiseOnNumbersLogicalOnBooleansAndNullPropagates) {
  EXPECT_EQ(Text("12 And 10"), "8");
  EXPECT_EQ(Text("12 Or 3"), "15");
  EXPECT_EQ(Text("12 Xor 10"), "6");
  EXPECT_EQ(Text("Not 0"), "-1");
  EXPECT_EQ(Type("Not 0"), "Integer");
  EXPECT_EQ(Text("Not True"), "False");
  EXPECT_EQ(Type("True And False"), "Boolean");
  EXPECT_EQ(Text("True Xor True"), "False");
  EXPECT_EQ(Text("True And 5"), "5");
  EXPECT_EQ(Text("True Eqv False") + Text("False Imp False"), "FalseTrue");
  EXPECT_EQ(Text("\"True\" And True"), "True");
  // Null propagates except where the other side decides.
  EXPECT_TRUE(Eval("Null + 1").IsNull());
  EXPECT_TRUE(Eval("Null = Null").IsNull());
  EXPECT_TRUE(Eval("Not Null").IsNull());
  EXPECT_EQ(Text("Null And False"), "False");
  EXPECT_EQ(Text("True Or Null"), "True");
  EXPECT_TRUE(Eval("True And Null").IsNull());
  Run("If Null Then x = 1 Else x = 2");
  EXPECT_EQ(Text("x"), "2");
}

TEST_F(ExpressionTest, ComparisonsBetweenKinds) {
  Run(Lines({"sTen = \"10\"", "nTen = 10", "sNine = \"9\"", "d1 = #2024-01-15 10:00#", "d2 = #2024-01-15 09:00#"}));
  // Text with text is by character: "10" sorts before "9".
  EXPECT_EQ(Text("sTen < sNine"), "True");
  EXPECT_EQ(Text("\"abc\" < \"abd\"") + Text("\"B\" < \"a\""), "TrueTrue");
  // A number written in the script converts the text it meets.
  EXPECT_EQ(Text("sTen = 10") + Text("sTen > 9"), "TrueTrue");
  EXPECT_EQ(Text("nTen = \"10\""), "True");
  // Two variables of different kinds: the number is the smaller.
  EXPECT_EQ(Text("sTen = nTen") + Text("nTen < sTen"), "FalseTrue");
  // Text that isn't a number stays text against a literal too.
  EXPECT_EQ(Text("\"abc\" > 5"), "True");
  EXPECT_EQ(Text("d1 > d2") + Text("d2 = #2024-01-15 09:00:00#"), "TrueTrue");
  EXPECT_EQ(Text("Empty = 0") + Text("Empty = \"\"") + Text("IsEmpty(Empty)"), "TrueTrueTrue");
  EXPECT_EQ(Text("1 = 1.0") + Text("True = -1") + Text("2 <> 3") + Text("3 >= 3") + Text("2 <= 1"),
            "TrueTrueTrueTrueFalse");
}

TEST_F(ExpressionTest, ArithmeticFailuresCarryTheEnginesNumbers) {
  Error e = EvalFailure("1 / 0");
  EXPECT_EQ(e.Number(), 11);
  EXPECT_EQ(e.Description(), "Division by zero");
  EXPECT_EQ(EvalFailure("5 \\ 0").Number(), 11);
  EXPECT_EQ(EvalFailure("5 Mod 0").Number(), 11);
  EXPECT_EQ(EvalFailure("0 / 0").Description(), "Overflow");
  EXPECT_EQ(EvalFailure("10 ^ 400").Number(), kErrOverflow);
  EXPECT_EQ(EvalFailure("CInt(40000)").Number(), kErrOverflow);
  EXPECT_EQ(EvalFailure("(-8) ^ 0.5").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("#9999-12-31# + 1").Number(), kErrOverflow);
  EXPECT_EQ(EvalFailure("Null + CStr(Null)").Number(), kErrInvalidUseOfNull);
  e = EvalFailure("Split(\"a\") + 1");
  EXPECT_EQ(e.Number(), kErrTypeMismatch);
  EXPECT_EQ(e.Source(), "VBScript runtime error");
}

}  // namespace
}  // namespace korad::vbscript_test
