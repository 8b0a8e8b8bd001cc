// Expressions by precedence climbing, from the loosest operator to the tightest:
// Imp, Eqv, Xor, Or, And, Not, comparisons, &, + -, Mod, \, * /, unary -, ^.
#include <algorithm>

#include "platform/vbscript/parser.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

enum Level { kImpLevel, kEqvLevel, kXorLevel, kOrLevel, kAndLevel, kNotLevel, kCompareLevel,
             kConcatLevel, kAddLevel, kModLevel, kIntDivLevel, kMulLevel, kUnaryLevel };

// The binary operator a token stands for, and its level.
bool BinaryOperator(TokenKind kind, int& level, Operator& op) {
  switch (kind) {
    case TokenKind::kImp: level = kImpLevel; op = Operator::kImp; return true;
    case TokenKind::kEqv: level = kEqvLevel; op = Operator::kEqv; return true;
    case TokenKind::kXor: level = kXorLevel; op = Operator::kXor; return true;
    case TokenKind::kOr: level = kOrLevel; op = Operator::kOr; return true;
    case TokenKind::kAnd: level = kAndLevel; op = Operator::kAnd; return true;
    case TokenKind::kEq: level = kCompareLevel; op = Operator::kEq; return true;
    case TokenKind::kNe: level = kCompareLevel; op = Operator::kNe; return true;
    case TokenKind::kLt: level = kCompareLevel; op = Operator::kLt; return true;
    case TokenKind::kGt: level = kCompareLevel; op = Operator::kGt; return true;
    case TokenKind::kLe: level = kCompareLevel; op = Operator::kLe; return true;
    case TokenKind::kGe: level = kCompareLevel; op = Operator::kGe; return true;
    case TokenKind::kIs: level = kCompareLevel; op = Operator::kIs; return true;
    case TokenKind::kAmp: level = kConcatLevel; op = Operator::kConcat; return true;
    case TokenKind::kPlus: level = kAddLevel; op = Operator::kAdd; return true;
    case TokenKind::kMinus: level = kAddLevel; op = Operator::kSub; return true;
    case TokenKind::kMod: level = kModLevel; op = Operator::kMod; return true;
    case TokenKind::kBackslash: level = kIntDivLevel; op = Operator::kIntDiv; return true;
    case TokenKind::kStar: level = kMulLevel; op = Operator::kMul; return true;
    case TokenKind::kSlash: level = kMulLevel; op = Operator::kDiv; return true;
    default: return false;
  }
}

ExprPtr Literal(Value value, int line) {
  auto e = std::make_unique<Expr>();
  e->kind = ExprKind::kLiteral;
  e->literal = std::move(value);
  e->line = line;
  return e;
}

}  // namespace

ExprPtr ParseExpression(std::string_view source) { return Parser(Tokenize(source)).ReadExpression(); }

ExprPtr Parser::ReadExpression() {
  SkipSeparators();
  ExprPtr e = ParseExpr();
  SkipSeparators();
  if (!Is(TokenKind::kEnd)) Fail(kErrExpectedEndOfStatement);
  return e;
}

ExprPtr Parser::ParseExpr() { return ParseBinary(kImpLevel); }

// Operators of `minLevel` and tighter, left to right (precedence climbing). "Not" stands
// where its level may: its operand takes comparisons and everything tighter.
ExprPtr Parser::ParseBinary(int minLevel) {
  ExprPtr left;
  if (Is(TokenKind::kNot) && minLevel <= kNotLevel) {
    Nest nest(*this);
    ++m_pos;
    left = MakeUnary(Operator::kNot, ParseBinary(kNotLevel));
  } else {
    left = ParseUnary();
  }
  int level;
  Operator op;
  while (BinaryOperator(Peek().kind, level, op) && level >= minLevel) {
    ++m_pos;
    ExprPtr right = ParseBinary(level + 1);
    left = MakeBinary(op, std::move(left), std::move(right));
  }
  return left;
}

ExprPtr Parser::ParseUnary() {
  if (Accept(TokenKind::kPlus)) {
    Nest nest(*this);
    return ParseUnary();
  }
  if (!Is(TokenKind::kMinus)) return ParsePower();
  Nest nest(*this);
  ++m_pos;
  return MakeUnary(Operator::kNeg, ParseUnary());
}

// "^" binds tighter than negation (-2 ^ 2 is -4) and goes left to right; its right side
// may carry its own sign (2 ^ -1).
ExprPtr Parser::ParsePower() {
  ExprPtr left = ParsePrimary();
  while (Accept(TokenKind::kCaret)) {
    ExprPtr right;
    if (Is(TokenKind::kMinus) || Is(TokenKind::kPlus)) {
      const bool negate = Is(TokenKind::kMinus);
      ++m_pos;
      right = ParsePrimary();
      if (negate) right = MakeUnary(Operator::kNeg, std::move(right));
    } else {
      right = ParsePrimary();
    }
    left = MakeBinary(Operator::kPow, std::move(left), std::move(right));
  }
  return left;
}

ExprPtr Parser::ParsePrimary() {
  const Token& token = Peek();
  const int line = token.line;
  switch (token.kind) {
    case TokenKind::kNumber:
    case TokenKind::kDate:
      ++m_pos;
      return Literal(m_tokens[m_pos - 1].value, line);
    case TokenKind::kString:
      ++m_pos;
      return Literal(Value(m_tokens[m_pos - 1].text), line);
    case TokenKind::kTrue: ++m_pos; return Literal(Value(true), line);
    case TokenKind::kFalse: ++m_pos; return Literal(Value(false), line);
    case TokenKind::kEmpty: ++m_pos; return Literal(Value(), line);
    case TokenKind::kNull: ++m_pos; return Literal(Value(Value::Null), line);
    case TokenKind::kNothing: ++m_pos; return Literal(Value(ObjectRef()), line);
    case TokenKind::kName: {
      auto e = std::make_unique<Expr>();
      e->line = line;
      e->name = token.text;
      ++m_pos;
      if (Is(TokenKind::kLParen)) {
        e->kind = ExprKind::kCall;
        e->args = ParseParenArguments();
        for (const ExprPtr& arg : e->args) e->height = std::max(e->height, arg->height + 1);
        // Split(s)(1): an element of what the call returns.
        while (Is(TokenKind::kLParen)) {
          auto index = std::make_unique<Expr>();
          index->kind = ExprKind::kIndex;
          index->line = line;
          index->args = ParseParenArguments();
          index->height = e->height + 1;
          for (const ExprPtr& arg : index->args) index->height = std::max(index->height, arg->height + 1);
          if (index->height > kMaxExpressionHeight) Fail(kErrOutOfStackSpace);
          index->left = std::move(e);
          e = std::move(index);
        }
      } else {
        e->kind = ExprKind::kName;
      }
      return e;
    }
    case TokenKind::kLParen: {
      Nest nest(*this);
      ++m_pos;
      ExprPtr inner = ParseExpr();
      Expect(TokenKind::kRParen, kErrExpectedRParen);
      auto e = std::make_unique<Expr>();
      e->kind = ExprKind::kParen;
      e->line = line;
      e->height = inner->height + 1;
      e->left = std::move(inner);
      return e;
    }
    default: Fail(kErrExpectedExpression);
  }
}

// "(a, b)" with the parentheses; "()" is no argument.
std::vector<ExprPtr> Parser::ParseParenArguments() {
  Nest nest(*this);
  Expect(TokenKind::kLParen, kErrExpectedLParen);
  std::vector<ExprPtr> args;
  if (Accept(TokenKind::kRParen)) return args;
  do {
    args.push_back(ParseExpr());
  } while (Accept(TokenKind::kComma));
  Expect(TokenKind::kRParen, kErrExpectedRParen);
  return args;
}

ExprPtr Parser::MakeBinary(Operator op, ExprPtr left, ExprPtr right) {
  auto e = std::make_unique<Expr>();
  e->kind = ExprKind::kBinary;
  e->op = op;
  e->line = left->line;
  e->height = std::max(left->height, right->height) + 1;
  if (e->height > kMaxExpressionHeight) Fail(kErrOutOfStackSpace);
  e->left = std::move(left);
  e->right = std::move(right);
  return e;
}

ExprPtr Parser::MakeUnary(Operator op, ExprPtr operand) {
  auto e = std::make_unique<Expr>();
  e->kind = ExprKind::kUnary;
  e->op = op;
  e->line = operand->line;
  e->height = operand->height + 1;
  if (e->height > kMaxExpressionHeight) Fail(kErrOutOfStackSpace);
  e->left = std::move(operand);
  return e;
}

}  // namespace korad::vbscript
