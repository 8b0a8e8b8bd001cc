#include "platform/vbscript/script_errors.h"

#include "contracts/error.h"

namespace korad::vbscript {

std::string ScriptErrorText(int32_t number) {
  switch (number) {
    case kErrDivisionByZero: return "Division by zero";
    case kErrOutOfStringSpace: return "Out of string space";
    case kErrOutOfStackSpace: return "Out of stack space";
    case kErrWrongArguments: return "Wrong number of arguments or invalid property assignment";
    case kErrNotCollection: return "Object not a collection";
    case kErrVariableUndefined: return "Variable is undefined";
    case kErrIllegalAssignment: return "Illegal assignment";
    case kErrSyntax: return "Syntax error";
    case kErrExpectedLParen: return "Expected '('";
    case kErrExpectedRParen: return "Expected ')'";
    case kErrExpectedIdentifier: return "Expected identifier";
    case kErrExpectedEquals: return "Expected '='";
    case kErrExpectedIf: return "Expected 'If'";
    case kErrExpectedTo: return "Expected 'To'";
    case kErrExpectedEnd: return "Expected 'End'";
    case kErrExpectedFunction: return "Expected 'Function'";
    case kErrExpectedSub: return "Expected 'Sub'";
    case kErrExpectedThen: return "Expected 'Then'";
    case kErrExpectedWend: return "Expected 'Wend'";
    case kErrExpectedLoop: return "Expected 'Loop'";
    case kErrExpectedNext: return "Expected 'Next'";
    case kErrExpectedCase: return "Expected 'Case'";
    case kErrExpectedSelect: return "Expected 'Select'";
    case kErrExpectedExpression: return "Expected expression";
    case kErrExpectedStatement: return "Expected statement";
    case kErrExpectedEndOfStatement: return "Expected end of statement";
    case kErrExpectedInteger: return "Expected integer constant";
    case kErrExpectedWhileUntil: return "Expected 'While' or 'Until'";
    case kErrExpectedWhileUntilEnd: return "Expected 'While', 'Until' or end of statement";
    case kErrInvalidNumber: return "Invalid number";
    case kErrInvalidCharacter: return "Invalid character";
    case kErrUnterminatedString: return "Unterminated string constant";
    case kErrLoopWithoutDo: return "'loop' without 'do'";
    case kErrInvalidExit: return "Invalid 'exit' statement";
    case kErrInvalidForVariable: return "Invalid 'for' loop control variable";
    case kErrNameRedefined: return "Name redefined";
    case kErrParenthesesOnSub: return "Cannot use parentheses when calling a Sub";
    case kErrExpectedLiteral: return "Expected literal constant";
    case kErrExpectedIn: return "Expected 'In'";
    default: return RuntimeErrorText(number);
  }
}

void RaiseCompileError(int32_t number, int line) {
  throw Error(number, std::string(kCompileSource) + " (line " + std::to_string(line) + ")",
              ScriptErrorText(number));
}

void RaiseScriptError(int32_t number) {
  throw Error(number, std::string(kRuntimeSource), ScriptErrorText(number));
}

void RaiseScriptError(int32_t number, std::string_view name) {
  throw Error(number, std::string(kRuntimeSource), ScriptErrorText(number) + ": '" + std::string(name) + "'");
}

}  // namespace korad::vbscript
