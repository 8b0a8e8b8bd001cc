// Random input for the lexer, parser and interpreter: token soup from the language's
// vocabulary, mutations of the schedule library, and raw bytes. Whatever comes in, a
// call returns or raises a korad::Error with a number and a text; it never crashes or
// hangs. About two seconds by default; KORAD_FUZZ_SECONDS runs longer, KORAD_FUZZ_SEED
// replays a run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "vbscript/script_fixture.h"

namespace korad::vbscript_test {
namespace {

const std::vector<std::string> kVocabulary = {
    "Dim", "ReDim", "Preserve", "Const", "If", "Then", "ElseIf", "Else", "End", "Select", "Case", "For",
    "Each", "In", "To", "Step", "Next", "Do", "Loop", "While", "Until", "Wend", "Exit", "Function", "Sub",
    "Call", "Set", "ByVal", "ByRef", "Option Explicit", "And", "Or", "Not", "Xor", "Eqv", "Imp", "Mod",
    "Is", "True", "False", "Empty", "Null", "Nothing", "Rem", "x", "y", "arr", "n", "F", "G", "Slow_Poll",
    "Days_Of_The_Week", "UTCNow", "Left", "Mid", "Split", "Join", "UBound", "DateAdd", "DateValue",
    "TimeValue", "WeekdayName", "Weekday", "Date", "Now", "CInt", "CDate", "Replace", "String", "Space",
    "InStr", "Round", "Array", "IsDate", "Chr", "+", "-", "*", "/", "\\", "^", "&", "=", "<>", "<", ">",
    "<=", ">=", "(", ")", ",", ".", ":", "\r\n", "\n", " _\r\n", "'", "0", "1", "-1", "32767", "2147483648",
    "1.5e300", "&HFFFF", "&H7FFFFFFF", "\"\"", "\"Y\"", "\"22:00\"", "\"2024-01-15 10:00:00\"", "\"a\"\"b\"",
    "#2024-01-15#", "#22:00#", "#bad#", "\"", "#", "_", "$", "[",
};

// A library whose functions random code can call, loop in and recurse into.
const char* kLibrary =
    "Function F(a)\r\n  F = a & a\r\nEnd Function\r\n"
    "Function G(n)\r\n  If n > 0 Then G = G(n - 1) + 1 Else G = 0\r\nEnd Function\r\n"
    "Function Slow_Poll(Multiplier)\r\n"
    "Slow_Poll = (UTCNow >= DateAdd(\"s\",60*Multiplier,DateValue(\"2024-01-15 10:30:00\")))\r\n"
    "end function\r\n"
    "function Days_Of_The_Week(Monday,Tuesday,Wednesday,Thursday,Friday,Saturday,Sunday)\r\n"
    "sWeekDayName = WeekDayName(WeekDay(Date()),True)\r\n"
    "Select Case sWeekDayName\r\n"
    "   Case \"Mon\": Days_Of_The_Week = Left(UCase(Monday),1) = \"Y\"\r\n"
    "   Case \"Sun\": Days_Of_The_Week = Left(UCase(Sunday),1) = \"Y\"\r\n"
    "End Select\r\n"
    "end function\r\n"
    "arr = Split(\"a b c\")\r\nUTCNow = #2024-01-15 12:00:00#\r\n";

class RandomInput {
 public:
  explicit RandomInput(uint32_t seed) : m_random(seed) {}

  std::string Next() {
    switch (Pick(10)) {
      case 0: return Bytes();
      case 1:
      case 2: return Mutated(kLibrary);
      case 3:
      case 4:
      case 5: return Statements(3);
      case 6: return Expression(4);
      default: return Tokens();
    }
  }

 private:
  size_t Pick(size_t n) { return std::uniform_int_distribution<size_t>(0, n - 1)(m_random); }

  std::string Tokens() {
    std::string text;
    const size_t count = 1 + Pick(60);
    for (size_t i = 0; i < count; ++i) {
      text += kVocabulary[Pick(kVocabulary.size())];
      if (Pick(4) != 0) text += ' ';
    }
    return text;
  }

  // Text that follows the grammar, so that most of it runs: expressions of literals,
  // names, built-in and library calls, and statements around them.
  std::string Expression(int depth) {
    static const char* const kLeaves[] = {"x", "y", "n", "arr", "UTCNow", "1", "0", "-3", "2.5", "32767",
                                          "\"12\"", "\"abc\"", "\"22:00\"", "#2024-01-15 10:00#", "True",
                                          "Null", "Empty", "Nothing", "Now", "Date"};
    static const char* const kOperators[] = {"+", "-", "*", "/", "\\", "Mod", "^", "&", "=", "<>", "<",
                                             ">=", "And", "Or", "Xor", "Eqv", "Imp", "Is"};
    static const char* const kCalls[] = {"Left", "Mid", "Len", "UCase", "Trim", "InStr", "Replace", "Split",
                                         "Join", "UBound", "CInt", "CLng", "CDbl", "CStr", "CBool", "CDate",
                                         "DateAdd", "DateDiff", "DateSerial", "TimeSerial", "DateValue",
                                         "TimeValue", "Year", "Weekday", "WeekdayName", "MonthName", "Abs",
                                         "Int", "Round", "IsNumeric", "IsDate", "TypeName", "Array", "String",
                                         "Space", "Chr", "Asc", "Hex", "F", "G", "Slow_Poll", "arr", "x"};
    if (depth <= 0 || Pick(3) == 0) return kLeaves[Pick(std::size(kLeaves))];
    switch (Pick(4)) {
      case 0: return "(" + Expression(depth - 1) + ")";
      case 1: return (Pick(2) ? "Not " : "-") + Expression(depth - 1);
      case 2: {
        std::string call = std::string(kCalls[Pick(std::size(kCalls))]) + "(";
        const size_t args = Pick(4);
        for (size_t i = 0; i < args; ++i) call += (i ? ", " : "") + Expression(depth - 1);
        return call + ")";
      }
      default:
        return Expression(depth - 1) + " " + kOperators[Pick(std::size(kOperators))] + " " + Expression(depth - 1);
    }
  }

  std::string Statements(int depth) {
    std::string text;
    const size_t count = 1 + Pick(5);
    for (size_t i = 0; i < count; ++i) text += Statement(depth) + "\r\n";
    return text;
  }

  std::string Statement(int depth) {
    static const char* const kTargets[] = {"x", "y", "n", "arr(1)", "arr(n)", "UTCNow"};
    switch (depth <= 0 ? Pick(2) : Pick(9)) {
      case 0: return std::string(kTargets[Pick(std::size(kTargets))]) + " = " + Expression(3);
      case 1: return "Call F(" + Expression(2) + ")";
      case 2: return "If " + Expression(2) + " Then\r\n" + Statements(depth - 1) + "Else\r\n" +
                     Statements(depth - 1) + "End If";
      case 3: return "For n = " + Expression(1) + " To " + Expression(1) + " Step " + Expression(1) + "\r\n" +
                     Statements(depth - 1) + "Next";
      case 4: return "Do While " + Expression(2) + "\r\n" + Statements(depth - 1) + "Loop";
      case 5: return "Select Case " + Expression(1) + "\r\nCase " + Expression(1) + ", " + Expression(1) +
                     "\r\n" + Statements(depth - 1) + "Case Else\r\n" + Statements(depth - 1) + "End Select";
      case 6: return "Function H" + std::to_string(Pick(3)) + "(a, ByVal b)\r\n" + Statements(depth - 1) +
                     "H" + std::to_string(Pick(3)) + " = a & b\r\nEnd Function";
      case 7: return "ReDim Preserve arr(" + Expression(1) + ")";
      default: return "For Each y In " + Expression(1) + "\r\n" + Statements(depth - 1) + "Next";
    }
  }

  std::string Bytes() {
    std::string text(Pick(200), '\0');
    for (char& c : text) c = static_cast<char>(Pick(256));
    return text;
  }

  // The library with a few pieces cut, doubled or replaced by vocabulary.
  std::string Mutated(std::string text) {
    const size_t edits = 1 + Pick(4);
    for (size_t i = 0; i < edits && !text.empty(); ++i) {
      const size_t at = Pick(text.size());
      const size_t length = std::min(text.size() - at, Pick(12));
      switch (Pick(3)) {
        case 0: text.erase(at, length); break;
        case 1: text.insert(at, text.substr(at, length)); break;
        default: text.replace(at, length, kVocabulary[Pick(kVocabulary.size())]); break;
      }
    }
    return text;
  }

  std::mt19937 m_random;
};

double EnvironmentNumber(const char* name, double fallback) {
  const char* text = std::getenv(name);
  return text && *text ? std::atof(text) : fallback;
}

// Runs one text as code and as an expression on a host with the library; false if
// anything other than a proper korad::Error came out.
bool Survives(const std::string& text, std::string& failure, size_t& clean) {
  auto host = std::make_unique<VbScriptControl>();
  host->SetStepLimit(20'000);
  host->SetMaxCallDepth(64);
  host->SetDataLimits(64 * 1024, 4096);
  host->AddCode(kLibrary);
  for (int pass = 0; pass < 2; ++pass) {
    try {
      if (pass == 0) host->AddCode(text);
      else host->Eval(text);
      ++clean;
    } catch (const Error& e) {
      if (e.Description().empty() || e.Number() == 0) {
        failure = "an error without number or text: " + std::to_string(e.Number());
        return false;
      }
    } catch (const std::exception& e) {
      failure = std::string("not a korad::Error: ") + e.what();
      return false;
    }
  }
  return true;
}

TEST(RandomInputTest, NoInputCrashesOrHangsTheHost) {
  korad::testing::ScopedPlatformClock clock;
  const double seconds = EnvironmentNumber("KORAD_FUZZ_SECONDS", 2.0);
  const auto seed = static_cast<uint32_t>(EnvironmentNumber("KORAD_FUZZ_SEED", 20240115));
  RandomInput input(seed);
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration<double>(seconds);
  size_t cases = 0;
  size_t clean = 0;  // calls that ran to their end without an error
  double slowest = 0;
  while (Clock::now() < end) {
    const std::string text = input.Next();
    const auto start = Clock::now();
    std::string failure;
    ASSERT_TRUE(Survives(text, failure, clean)) << failure << "\ninput (seed " << seed << ", case " << cases
                                         << "):\n" << text;
    slowest = std::max(slowest, std::chrono::duration<double>(Clock::now() - start).count());
    ++cases;
  }
  // A case that takes seconds means a limit failed to bound it.
  EXPECT_LT(slowest, 5.0);
  EXPECT_GT(cases, 0u);
  std::printf("random inputs: %zu cases in %.0f s, %zu calls without error, slowest %.3f s (seed %u)\n", cases,
              seconds, clean, slowest, seed);
}

}  // namespace
}  // namespace korad::vbscript_test
