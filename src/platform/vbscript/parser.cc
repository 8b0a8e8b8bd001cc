// Statements, blocks and Function/Sub definitions.
#include "platform/vbscript/parser.h"

#include <algorithm>

#include "contracts/text.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

// Tokens that close a block: the construct around it checks which one it expects.
bool ClosesBlock(TokenKind kind) {
  switch (kind) {
    case TokenKind::kEnd:
    case TokenKind::kEnd_:
    case TokenKind::kElse:
    case TokenKind::kElseIf:
    case TokenKind::kCase:
    case TokenKind::kLoop:
    case TokenKind::kNext:
    case TokenKind::kWend: return true;
    default: return false;
  }
}

bool IsNameWord(const Token& token, std::string_view word) {
  return token.kind == TokenKind::kName && EqualsNoCase(token.text, word);
}

bool IsLiteral(const Expr& e) {
  if (e.kind == ExprKind::kLiteral) return true;
  return e.kind == ExprKind::kUnary && e.op == Operator::kNeg && e.left->kind == ExprKind::kLiteral;
}

}  // namespace

Program ParseProgram(std::string_view source) { return Parser(Tokenize(source)).ReadProgram(); }

Parser::Nest::Nest(Parser& parser) : m_parser(parser) {
  if (++m_parser.m_depth > kMaxNesting) m_parser.Fail(kErrOutOfStackSpace);
}

bool Parser::Accept(TokenKind kind) {
  if (!Is(kind)) return false;
  ++m_pos;
  return true;
}

void Parser::Expect(TokenKind kind, int32_t errorNumber) {
  if (!Accept(kind)) Fail(errorNumber);
}

std::string Parser::ExpectName() {
  if (!Is(TokenKind::kName)) Fail(kErrExpectedIdentifier);
  return m_tokens[m_pos++].text;
}

void Parser::Fail(int32_t number) const { RaiseCompileError(number, Peek().line); }

void Parser::SkipSeparators() {
  while (Is(TokenKind::kNewLine) || Is(TokenKind::kColon)) ++m_pos;
}

bool Parser::AtStatementEnd() const {
  const TokenKind kind = Peek().kind;
  return kind == TokenKind::kNewLine || kind == TokenKind::kColon || kind == TokenKind::kEnd ||
         (m_singleLineIf > 0 && kind == TokenKind::kElse);
}

void Parser::EndStatement() {
  if (!AtStatementEnd()) Fail(kErrExpectedEndOfStatement);
}

// "End <what>": `End` is the current token.
void Parser::ExpectEnd(TokenKind what, int32_t errorIfOther) {
  Expect(TokenKind::kEnd_, kErrExpectedEnd);
  Expect(what, errorIfOther);
  EndStatement();
}

Program Parser::ReadProgram() {
  Program program;
  while (true) {
    SkipSeparators();
    if (Is(TokenKind::kEnd)) break;
    size_t look = 0;
    if (Is(TokenKind::kPublic) || Is(TokenKind::kPrivate)) look = 1;
    const TokenKind kind = PeekAt(look).kind;
    if (kind == TokenKind::kFunction || kind == TokenKind::kSub) {
      m_pos += look;
      auto procedure = ParseProcedure();
      const bool redefined = std::any_of(program.procedures.begin(), program.procedures.end(),
                                         [&](const auto& p) { return EqualsNoCase(p->name, procedure->name); });
      if (redefined) Fail(kErrNameRedefined);
      program.procedures.push_back(std::move(procedure));
      continue;
    }
    if (ClosesBlock(Peek().kind)) Fail(Is(TokenKind::kLoop) ? kErrLoopWithoutDo : kErrExpectedStatement);
    program.statements.push_back(ParseStatement());
    EndStatement();
  }
  program.optionExplicit = m_optionExplicit;
  return program;
}

std::shared_ptr<Procedure> Parser::ParseProcedure() {
  auto procedure = std::make_shared<Procedure>();
  procedure->isFunction = Is(TokenKind::kFunction);
  ++m_pos;
  procedure->name = ExpectName();
  if (Accept(TokenKind::kLParen) && !Accept(TokenKind::kRParen)) {
    do {
      Parameter param;
      if (Accept(TokenKind::kByVal)) param.byRef = false;
      else Accept(TokenKind::kByRef);
      param.name = ExpectName();
      if (Accept(TokenKind::kLParen)) Expect(TokenKind::kRParen, kErrExpectedRParen);
      procedure->params.push_back(std::move(param));
    } while (Accept(TokenKind::kComma));
    Expect(TokenKind::kRParen, kErrExpectedRParen);
  }
  EndStatement();
  m_exits.push_back(procedure->isFunction ? ExitKind::kFunction : ExitKind::kSub);
  procedure->body = ParseBlock();
  m_exits.pop_back();
  if (!Is(TokenKind::kEnd_)) Fail(kErrExpectedEnd);
  ExpectEnd(procedure->isFunction ? TokenKind::kFunction : TokenKind::kSub,
            procedure->isFunction ? kErrExpectedFunction : kErrExpectedSub);
  return procedure;
}

// Statements up to a token that closes the block, which is left for the caller.
Block Parser::ParseBlock() {
  Nest nest(*this);
  Block block;
  while (true) {
    SkipSeparators();
    if (ClosesBlock(Peek().kind)) return block;
    block.push_back(ParseStatement());
    EndStatement();
  }
}

StmtPtr Parser::ParseStatement() {
  Nest nest(*this);
  const Token& token = Peek();
  switch (token.kind) {
    case TokenKind::kIf: return ParseIf();
    case TokenKind::kSelect: return ParseSelect();
    case TokenKind::kFor: return ParseFor();
    case TokenKind::kDo: return ParseDo();
    case TokenKind::kWhile: return ParseWhile();
    case TokenKind::kExit: return ParseExit();
    case TokenKind::kDim: return ParseDim(false);
    case TokenKind::kReDim: return ParseDim(true);
    case TokenKind::kConst: return ParseConst();
    case TokenKind::kPublic:
    case TokenKind::kPrivate:
      if (PeekAt(1).kind == TokenKind::kConst) {
        ++m_pos;
        return ParseConst();
      }
      return ParseDim(false);
    case TokenKind::kOption: {
      ++m_pos;
      if (!IsNameWord(Peek(), "Explicit")) Fail(kErrSyntax);
      ++m_pos;
      m_optionExplicit = true;
      auto s = std::make_unique<Stmt>();
      s->kind = StmtKind::kOptionExplicit;
      s->line = token.line;
      return s;
    }
    case TokenKind::kCall: ++m_pos; return ParseNameStatement(true, false);
    case TokenKind::kSet: ++m_pos; return ParseNameStatement(false, true);
    case TokenKind::kName: return ParseNameStatement(false, false);
    case TokenKind::kFunction:
    case TokenKind::kSub: Fail(kErrSyntax);  // no procedure inside a block
    default: Fail(kErrExpectedStatement);
  }
}

StmtPtr Parser::ParseIf() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kIf;
  s->line = Peek().line;
  ++m_pos;
  Branch first;
  first.condition = ParseExpr();
  Expect(TokenKind::kThen, kErrExpectedThen);
  if (!Is(TokenKind::kNewLine) && !Is(TokenKind::kColon) && !Is(TokenKind::kEnd)) {
    // One line: "If c Then a : b Else d : e".
    ParseSingleLineIfBody(first.body);
    s->branches.push_back(std::move(first));
    if (Accept(TokenKind::kElse)) {
      s->hasElse = true;
      ParseSingleLineIfBody(s->body);
    }
    return s;
  }
  first.body = ParseBlock();
  s->branches.push_back(std::move(first));
  while (Is(TokenKind::kElseIf)) {
    ++m_pos;
    Branch branch;
    branch.condition = ParseExpr();
    Expect(TokenKind::kThen, kErrExpectedThen);
    branch.body = ParseBlock();
    s->branches.push_back(std::move(branch));
  }
  if (Accept(TokenKind::kElse)) {
    s->hasElse = true;
    s->body = ParseBlock();
  }
  if (!Is(TokenKind::kEnd_)) Fail(kErrExpectedEnd);
  ++m_pos;
  Expect(TokenKind::kIf, kErrExpectedIf);
  return s;
}

// Statements separated by ":" up to the line end, or to an Else of this If.
void Parser::ParseSingleLineIfBody(Block& body) {
  ++m_singleLineIf;
  while (true) {
    body.push_back(ParseStatement());
    if (!Accept(TokenKind::kColon)) break;
    if (Is(TokenKind::kNewLine) || Is(TokenKind::kEnd) || Is(TokenKind::kElse)) break;
  }
  --m_singleLineIf;
  if (!Is(TokenKind::kElse)) EndStatement();
}

StmtPtr Parser::ParseSelect() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kSelect;
  s->line = Peek().line;
  ++m_pos;
  Expect(TokenKind::kCase, kErrExpectedCase);
  s->value = ParseExpr();
  EndStatement();
  SkipSeparators();
  while (Accept(TokenKind::kCase)) {
    if (s->hasElse) Fail(kErrExpectedEnd);
    Block* body;
    if (Accept(TokenKind::kElse)) {
      s->hasElse = true;
      body = &s->body;
    } else {
      Branch& branch = s->branches.emplace_back();
      do {
        branch.values.push_back(ParseExpr());
      } while (Accept(TokenKind::kComma));
      body = &branch.body;
    }
    EndStatement();
    *body = ParseBlock();
  }
  if (!Is(TokenKind::kEnd_)) Fail(s->branches.empty() && !s->hasElse ? kErrExpectedCase : kErrExpectedEnd);
  ++m_pos;
  Expect(TokenKind::kSelect, kErrExpectedSelect);
  return s;
}

StmtPtr Parser::ParseFor() {
  auto s = std::make_unique<Stmt>();
  s->line = Peek().line;
  ++m_pos;
  if (Accept(TokenKind::kEach)) {
    s->kind = StmtKind::kForEach;
    s->name = ExpectName();
    if (!IsNameWord(Peek(), "In")) Fail(kErrExpectedIn);
    ++m_pos;
    s->from = ParseExpr();
  } else {
    s->kind = StmtKind::kFor;
    if (!Is(TokenKind::kName)) Fail(kErrInvalidForVariable);
    s->name = ExpectName();
    Expect(TokenKind::kEq, kErrExpectedEquals);
    s->from = ParseExpr();
    Expect(TokenKind::kTo, kErrExpectedTo);
    s->to = ParseExpr();
    if (IsNameWord(Peek(), "Step")) {
      ++m_pos;
      s->step = ParseExpr();
    }
  }
  EndStatement();
  m_exits.push_back(ExitKind::kFor);
  s->body = ParseBlock();
  m_exits.pop_back();
  if (!Accept(TokenKind::kNext)) Fail(kErrExpectedNext);
  if (Is(TokenKind::kName)) ++m_pos;  // "Next i"
  return s;
}

StmtPtr Parser::ParseDo() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kDo;
  s->line = Peek().line;
  ++m_pos;
  if (Is(TokenKind::kWhile) || Is(TokenKind::kUntil)) {
    s->until = Is(TokenKind::kUntil);
    ++m_pos;
    s->value = ParseExpr();
  } else if (!AtStatementEnd()) {
    Fail(kErrExpectedWhileUntilEnd);
  }
  EndStatement();
  m_exits.push_back(ExitKind::kDo);
  s->body = ParseBlock();
  m_exits.pop_back();
  if (!Accept(TokenKind::kLoop)) Fail(kErrExpectedLoop);
  if (Is(TokenKind::kWhile) || Is(TokenKind::kUntil)) {
    if (s->value) Fail(kErrExpectedEndOfStatement);
    s->until = Is(TokenKind::kUntil);
    s->conditionAfter = true;
    ++m_pos;
    s->value = ParseExpr();
  }
  return s;
}

StmtPtr Parser::ParseWhile() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kWhile;
  s->line = Peek().line;
  ++m_pos;
  s->value = ParseExpr();
  EndStatement();
  m_exits.push_back(ExitKind::kNone);  // While has no Exit of its own
  s->body = ParseBlock();
  m_exits.pop_back();
  if (!Accept(TokenKind::kWend)) Fail(kErrExpectedWend);
  return s;
}

StmtPtr Parser::ParseExit() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kExit;
  s->line = Peek().line;
  ++m_pos;
  switch (Peek().kind) {
    case TokenKind::kDo: s->exit = ExitKind::kDo; break;
    case TokenKind::kFor: s->exit = ExitKind::kFor; break;
    case TokenKind::kFunction: s->exit = ExitKind::kFunction; break;
    case TokenKind::kSub: s->exit = ExitKind::kSub; break;
    default: Fail(kErrSyntax);
  }
  ++m_pos;
  if (std::find(m_exits.begin(), m_exits.end(), s->exit) == m_exits.end()) Fail(kErrInvalidExit);
  return s;
}

StmtPtr Parser::ParseDim(bool reDim) {
  auto s = std::make_unique<Stmt>();
  s->kind = reDim ? StmtKind::kReDim : StmtKind::kDim;
  s->line = Peek().line;
  ++m_pos;
  if (reDim && IsNameWord(Peek(), "Preserve")) {
    s->preserve = true;
    ++m_pos;
  }
  do {
    DimEntry& entry = s->dims.emplace_back();
    entry.name = ExpectName();
    if (Is(TokenKind::kLParen)) {
      entry.isArray = true;
      entry.bounds = ParseParenArguments();
    }
    if (reDim && !entry.isArray) Fail(kErrExpectedLParen);
  } while (Accept(TokenKind::kComma));
  return s;
}

StmtPtr Parser::ParseConst() {
  auto s = std::make_unique<Stmt>();
  s->kind = StmtKind::kConst;
  s->line = Peek().line;
  ++m_pos;
  s->name = ExpectName();
  Expect(TokenKind::kEq, kErrExpectedEquals);
  s->value = ParseExpr();
  if (!IsLiteral(*s->value)) Fail(kErrExpectedLiteral);
  return s;
}

// A statement that starts with a name: an assignment ("x = 1", "a(2) = 1", "Set o = ..."),
// or a call ("Foo 1, 2", "Foo(1)", "Call Foo(1, 2)").
StmtPtr Parser::ParseNameStatement(bool isCall, bool isSet) {
  auto s = std::make_unique<Stmt>();
  s->line = Peek().line;
  s->name = ExpectName();
  s->isSet = isSet;
  if (!isCall && Accept(TokenKind::kEq)) {
    s->kind = StmtKind::kAssign;
    s->value = ParseExpr();
    return s;
  }
  if (Is(TokenKind::kLParen)) {
    const size_t start = m_pos;
    std::vector<ExprPtr> args = ParseParenArguments();
    if (!isCall && Accept(TokenKind::kEq)) {
      s->kind = StmtKind::kAssign;
      s->args = std::move(args);
      s->value = ParseExpr();
      return s;
    }
    if (isSet) Fail(kErrExpectedEquals);
    if (AtStatementEnd()) {
      s->kind = StmtKind::kCall;
      if (!isCall && args.size() > 1) Fail(kErrParenthesesOnSub);
      if (!isCall && args.size() == 1) {
        // "Foo(x)" passes the value of (x), not x itself.
        auto paren = std::make_unique<Expr>();
        paren->kind = ExprKind::kParen;
        paren->line = args[0]->line;
        paren->height = args[0]->height + 1;
        paren->left = std::move(args[0]);
        args[0] = std::move(paren);
      }
      s->args = std::move(args);
      return s;
    }
    if (isCall) Fail(kErrExpectedEndOfStatement);
    // "Foo (1) + 2, 3": the parenthesis opened the first argument.
    m_pos = start;
  }
  if (isSet) Fail(kErrExpectedEquals);
  s->kind = StmtKind::kCall;
  if (!isCall) s->args = ParseBareArguments();
  return s;
}

std::vector<ExprPtr> Parser::ParseBareArguments() {
  std::vector<ExprPtr> args;
  if (AtStatementEnd()) return args;
  do {
    args.push_back(ParseExpr());
  } while (Accept(TokenKind::kComma));
  return args;
}

}  // namespace korad::vbscript
