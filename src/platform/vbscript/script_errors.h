// The script engine's error numbers and texts. Compilation errors carry the line they
// were found on in their source; run-time errors are those of the host's language.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace korad::vbscript {

inline constexpr std::string_view kRuntimeSource = "VBScript runtime error";
inline constexpr std::string_view kCompileSource = "VBScript compilation error";

// Run-time numbers beyond those of contracts/error.h.
inline constexpr int32_t kErrDivisionByZero = 11;
inline constexpr int32_t kErrOutOfStringSpace = 14;
inline constexpr int32_t kErrOutOfStackSpace = 28;
inline constexpr int32_t kErrWrongArguments = 450;
inline constexpr int32_t kErrNotCollection = 451;
inline constexpr int32_t kErrVariableUndefined = 500;
inline constexpr int32_t kErrIllegalAssignment = 501;
// Not an engine number: the host's own limit on the work of one call.
inline constexpr int32_t kErrStepLimit = static_cast<int32_t>(0x80040000u);

// Compilation numbers.
inline constexpr int32_t kErrSyntax = 1002;
inline constexpr int32_t kErrExpectedLParen = 1005;
inline constexpr int32_t kErrExpectedRParen = 1006;
inline constexpr int32_t kErrExpectedIdentifier = 1010;
inline constexpr int32_t kErrExpectedEquals = 1011;
inline constexpr int32_t kErrExpectedIf = 1012;
inline constexpr int32_t kErrExpectedTo = 1013;
inline constexpr int32_t kErrExpectedEnd = 1014;
inline constexpr int32_t kErrExpectedFunction = 1015;
inline constexpr int32_t kErrExpectedSub = 1016;
inline constexpr int32_t kErrExpectedThen = 1017;
inline constexpr int32_t kErrExpectedWend = 1018;
inline constexpr int32_t kErrExpectedLoop = 1019;
inline constexpr int32_t kErrExpectedNext = 1020;
inline constexpr int32_t kErrExpectedCase = 1021;
inline constexpr int32_t kErrExpectedSelect = 1022;
inline constexpr int32_t kErrExpectedExpression = 1023;
inline constexpr int32_t kErrExpectedStatement = 1024;
inline constexpr int32_t kErrExpectedEndOfStatement = 1025;
inline constexpr int32_t kErrExpectedInteger = 1026;
inline constexpr int32_t kErrExpectedWhileUntil = 1027;
inline constexpr int32_t kErrExpectedWhileUntilEnd = 1028;
inline constexpr int32_t kErrInvalidNumber = 1031;
inline constexpr int32_t kErrInvalidCharacter = 1032;
inline constexpr int32_t kErrUnterminatedString = 1033;
inline constexpr int32_t kErrLoopWithoutDo = 1038;
inline constexpr int32_t kErrInvalidExit = 1039;
inline constexpr int32_t kErrInvalidForVariable = 1040;
inline constexpr int32_t kErrNameRedefined = 1041;
inline constexpr int32_t kErrParenthesesOnSub = 1044;
inline constexpr int32_t kErrExpectedLiteral = 1045;
inline constexpr int32_t kErrExpectedIn = 1046;

// The engine's text for a number ("Syntax error", "Division by zero", ...), falling back
// to the library's runtime texts; empty if neither knows it.
std::string ScriptErrorText(int32_t number);

[[noreturn]] void RaiseCompileError(int32_t number, int line);
[[noreturn]] void RaiseScriptError(int32_t number);
// The description names what failed, as the engine does: "Type mismatch: 'Foo'".
[[noreturn]] void RaiseScriptError(int32_t number, std::string_view name);

}  // namespace korad::vbscript
