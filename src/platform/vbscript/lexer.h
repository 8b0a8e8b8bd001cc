// Turns script text into tokens. Names and keywords are case-insensitive; "'" and Rem
// comments and the " _" line continuation are consumed here, so the parser sees
// statements, separators (line ends and ":") and the end.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "contracts/value.h"

namespace korad::vbscript {

enum class TokenKind : uint8_t {
  kEnd, kNewLine, kColon, kName, kNumber, kString, kDate,
  // Symbols.
  kPlus, kMinus, kStar, kSlash, kBackslash, kCaret, kAmp, kEq, kNe, kLt, kGt, kLe, kGe,
  kLParen, kRParen, kComma, kDot,
  // Reserved words.
  kAnd, kByRef, kByVal, kCall, kCase, kConst, kDim, kDo, kEach, kElse, kElseIf, kEmpty, kEnd_,
  kEqv, kExit, kFalse, kFor, kFunction, kIf, kImp, kIs, kLoop, kMod, kNext, kNot, kNothing,
  kNull, kOn, kOption, kOr, kPrivate, kPublic, kReDim, kSelect, kSet, kSub, kThen, kTo, kTrue,
  kUntil, kWend, kWhile, kXor,
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  int line = 1;
  std::string text;  // a name as written, or a string literal's content
  Value value;       // a number or date literal
};

// The whole text as tokens, ending with kEnd. Raises the engine's compilation errors
// ("Unterminated string constant", "Invalid character", ...) with their line.
std::vector<Token> Tokenize(std::string_view source);

// The word of a reserved token ("End", "Next"), for messages and tests.
std::string_view KeywordText(TokenKind kind);

}  // namespace korad::vbscript
