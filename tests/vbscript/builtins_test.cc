// The built-in functions: the clock's dates on a fake clock, date arithmetic, text and
// conversions.
#include "support/error_number.h"
#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

using BuiltinTest = ScriptTest;

TEST_F(BuiltinTest, DateTimeAndNowReadTheLocalClockToTheSecond) {
  m_clock->SetUtcNow(OleDate::FromUnixMillis(At(2024, 3, 9, 23, 30, 15).ToUnixMillis() + 750));
  m_clock->SetUtcOffsetMinutes(60);
  EXPECT_EQ(Text("Now"), "2024-03-10 00:30:15");
  EXPECT_EQ(Text("Date()"), "2024-03-10");
  EXPECT_EQ(Text("Time"), "00:30:15");
  EXPECT_EQ(Text("Weekday(Date) & WeekdayName(Weekday(Date)) & WeekdayName(1, True, vbMonday)"), "1SundayMon");
  m_clock->Advance(3600);
  EXPECT_EQ(Text("Hour(Now) & \":\" & Minute(Now) & \":\" & Second(Now)"), "1:30:15");
}

TEST_F(BuiltinTest, DateArithmetic) {
  EXPECT_EQ(Text("DateAdd(\"s\", 300, #2024-01-15#)"), "2024-01-15 00:05:00");
  EXPECT_EQ(Text("DateAdd(\"m\", 1, \"2024-01-31\")"), "2024-02-29");
  EXPECT_EQ(Text("DateAdd(\"yyyy\", -1, #2024-02-29#)"), "2023-02-28");
  EXPECT_EQ(Text("DateDiff(\"d\", #2024-01-01#, #2024-03-01#)"), "60");
  EXPECT_EQ(Text("DateDiff(\"n\", #2024-01-01 10:59#, #2024-01-01 11:01#)"), "2");
  EXPECT_EQ(Text("DateDiff(\"yyyy\", #2023-12-31#, #2024-01-01#)"), "1");
  EXPECT_EQ(Text("DateSerial(2024, 13, 1)"), "2025-01-01");
  EXPECT_EQ(Text("DateSerial(24, 3, 0)"), "2024-02-29");
  EXPECT_EQ(Text("TimeSerial(25, 0, 0)"), "1899-12-31 01:00:00");
  EXPECT_EQ(Text("TimeSerial(14, 90, 0)"), "15:30:00");
  EXPECT_EQ(Text("DateValue(\"2024-01-15 10:30:00\")"), "2024-01-15");
  EXPECT_EQ(Text("TimeValue(\"2024-01-15 10:30:00\")"), "10:30:00");
  EXPECT_EQ(Text("Year(#2024-01-15#) & Month(#2024-01-15#) & Day(#2024-01-15#)"), "2024115");
  EXPECT_EQ(Text("MonthName(2) & MonthName(12, True)"), "FebruaryDec");
  EXPECT_EQ(Text("IsDate(\"2024-02-30\") & IsDate(\"22:00\") & IsDate(#2024-01-01#) & IsDate(5)"),
            "FalseTrueTrueFalse");
  EXPECT_EQ(Text("CDate(\"1/15/2024 2:30 PM\")"), "2024-01-15 14:30:00");
  EXPECT_TRUE(Eval("Year(Null)").IsNull());
  EXPECT_EQ(EvalFailure("DateAdd(\"x\", 1, Now)").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("DateValue(\"soon\")").Number(), kErrTypeMismatch);
  EXPECT_EQ(EvalFailure("WeekdayName(8)").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("MonthName(0)").Number(), kErrInvalidCall);
}

TEST_F(BuiltinTest, TextFunctions) {
  EXPECT_EQ(Text("Left(\"abcdef\", 2) & Right(\"abcdef\", 2) & Mid(\"abcdef\", 3, 2) & Mid(\"abcdef\", 5)"),
            "abefcdef");
  EXPECT_EQ(Text("Left(\"ab\", 10) & Mid(\"ab\", 5) & \"|\""), "ab|");
  EXPECT_EQ(Text("Len(\"abc\") & Len(12345) & Len(\"\")"), "350");
  EXPECT_EQ(Text("UCase(\"MiXed1\") & LCase(\"MiXed1\")"), "MIXED1mixed1");
  EXPECT_EQ(Text("\"[\" & Trim(\"  a b  \") & \"][\" & LTrim(\"  a \") & \"][\" & RTrim(\" a  \") & \"]\""),
            "[a b][a ][ a]");
  EXPECT_EQ(Text("InStr(\"hello\", \"l\") & InStr(4, \"hello\", \"l\") & InStr(\"hello\", \"z\")"), "340");
  EXPECT_EQ(Text("InStr(1, \"Hello\", \"hE\", 1) & InStr(1, \"Hello\", \"hE\", vbBinaryCompare)"), "10");
  EXPECT_EQ(Text("InStrRev(\"a.b.c\", \".\")"), "4");
  EXPECT_EQ(Text("Replace(\"a-b-c\", \"-\", \"+\")"), "a+b+c");
  EXPECT_EQ(Text("Replace(\"aAaA\", \"a\", \"x\", 1, -1, vbTextCompare)"), "xxxx");
  EXPECT_EQ(Text("Replace(\"a-b-c\", \"-\", \"\", 1, 1)"), "ab-c");
  EXPECT_EQ(Text("Replace(\"a-b-c\", \"-\", \"+\", 3)"), "b+c");
  EXPECT_EQ(Text("Join(Split(\"a, b, c\", \", \"), \"|\") & \"/\" & UBound(Split(\"a b c\", \" \", 2))"), "a|b|c/1");
  EXPECT_EQ(Text("Split(\"a b c\", \" \", 2)(1)"), "b c");
  EXPECT_EQ(Text("Chr(65) & Asc(\"a\") & String(3, \"xy\") & String(2, 66) & \"[\" & Space(2) & \"]\""),
            "A97xxxBB[  ]");
  EXPECT_EQ(Text("StrComp(\"a\", \"B\") & StrComp(\"a\", \"A\", 1) & StrReverse(\"abc\")"), "10cba");
  EXPECT_TRUE(Eval("UCase(Null)").IsNull());
  EXPECT_EQ(EvalFailure("Left(\"abc\", -1)").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("Mid(\"abc\", 0)").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("Asc(\"\")").Number(), kErrInvalidCall);
  EXPECT_EQ(EvalFailure("Join(\"not an array\")").Number(), kErrTypeMismatch);
}

TEST_F(BuiltinTest, ConversionsNumbersAndWrongArgumentCounts) {
  EXPECT_EQ(Text("CInt(2.5) & CInt(3.5) & CInt(-2.5) & CLng(\"12\")"), "24-212");
  EXPECT_EQ(Type("CInt(\"7\")") + Type("CLng(7)") + Type("CDbl(7)") + Type("CStr(7)") + Type("CBool(7)"),
            "IntegerLongDoubleStringBoolean");
  EXPECT_EQ(Text("CBool(\"false\") & CBool(0) & CStr(True) & CDbl(\"1.5e1\")"), "FalseFalseTrue15");
  EXPECT_EQ(Text("Abs(-3) & Abs(-2.5) & Int(-2.5) & Fix(-2.5) & Int(2.7)"), "32.5-3-22");
  EXPECT_EQ(Text("Round(2.5) & Round(3.5) & Round(0.125, 2) & Round(-0.5)"), "240.120");
  EXPECT_EQ(Text("Sgn(-4) & Sgn(0) & Sgn(9) & Sqr(16) & Hex(255) & Hex(-1) & Hex(CLng(-1)) & Oct(8)"), "-1014" "FF" "FFFF" "FFFFFFFF" "10");
  EXPECT_EQ(Text("IsNumeric(\"12\") & IsNumeric(\"1e3\") & IsNumeric(\"abc\") & IsNumeric(Empty)"),
            "TrueTrueFalseTrue");
  EXPECT_EQ(Text("IsEmpty(x) & IsNull(Null) & IsNull(Empty) & IsObject(Nothing)"), "TrueTrueFalseTrue");
  EXPECT_EQ(Text("TypeName(1) & TypeName(70000) & TypeName(1.5) & TypeName(\"\") & TypeName(Now)"),
            "IntegerLongDoubleStringDate");
  EXPECT_EQ(Text("TypeName(Null) & TypeName(Empty) & TypeName(True) & TypeName(Nothing) & VarType(\"\")"),
            "NullEmptyBooleanNothing8");
  EXPECT_EQ(Text("\"a\" & vbCrLf & vbTab & \"b\""), "a\r\n\tb");
  EXPECT_EQ(EvalFailure("CInt(\"abc\")").Number(), kErrTypeMismatch);
  EXPECT_EQ(EvalFailure("CBool(\"maybe\")").Number(), kErrTypeMismatch);
  EXPECT_EQ(EvalFailure("CDate(\"13/45/2024\")").Number(), kErrTypeMismatch);
  EXPECT_EQ(EvalFailure("Sqr(-1)").Number(), kErrInvalidCall);

  // Wrong argument counts and assignments to built-ins.
  Error e = EvalFailure("Left(\"abc\")");
  EXPECT_EQ(e.Number(), 450);
  EXPECT_EQ(e.Description(), "Wrong number of arguments or invalid property assignment: 'Left'");
  EXPECT_EQ(EvalFailure("Now(1)").Number(), 450);
  EXPECT_EQ(RunFailure("Date = 5").Number(), 501);
}

}  // namespace
}  // namespace korad::vbscript_test
