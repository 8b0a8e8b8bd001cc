// Builds the tree of a script from its tokens: recursive descent with the engine's
// operator precedence and its compilation errors. Nesting is limited, so that no text,
// however odd, can exhaust the stack of the parser or of the interpreter that walks it.
#pragma once

#include <string_view>
#include <vector>

#include "platform/vbscript/ast.h"
#include "platform/vbscript/lexer.h"

namespace korad::vbscript {

// Deepest nesting of blocks, parentheses and prefix operators, and the greatest height of
// an expression's tree (a long chain "a & b & c ..." is one level of nesting but tall).
inline constexpr int kMaxNesting = 64;
inline constexpr int kMaxExpressionHeight = 400;

// Statements and Function/Sub blocks, as AddCode and ExecuteStatement take them.
Program ParseProgram(std::string_view source);
// One expression filling the whole text, as Eval takes it.
ExprPtr ParseExpression(std::string_view source);

class Parser {
 public:
  explicit Parser(std::vector<Token> tokens) : m_tokens(std::move(tokens)) {}

  Program ReadProgram();
  ExprPtr ReadExpression();

 private:
  // Statements (parser.cc).
  std::shared_ptr<Procedure> ParseProcedure();
  Block ParseBlock();
  StmtPtr ParseStatement();
  StmtPtr ParseIf();
  void ParseSingleLineIfBody(Block& body);
  StmtPtr ParseSelect();
  StmtPtr ParseFor();
  StmtPtr ParseDo();
  StmtPtr ParseWhile();
  StmtPtr ParseExit();
  StmtPtr ParseDim(bool reDim);
  StmtPtr ParseConst();
  StmtPtr ParseNameStatement(bool isCall, bool isSet);
  std::vector<ExprPtr> ParseBareArguments();
  void ExpectEnd(TokenKind what, int32_t errorIfOther);
  bool AtStatementEnd() const;
  void EndStatement();
  void SkipSeparators();

  // Expressions (parser_expressions.cc).
  ExprPtr ParseExpr();
  ExprPtr ParseBinary(int minLevel);
  ExprPtr ParseUnary();
  ExprPtr ParsePower();
  ExprPtr ParsePrimary();
  std::vector<ExprPtr> ParseParenArguments();
  ExprPtr MakeBinary(Operator op, ExprPtr left, ExprPtr right);
  ExprPtr MakeUnary(Operator op, ExprPtr operand);

  // Tokens.
  const Token& Peek() const { return m_tokens[m_pos]; }
  const Token& PeekAt(size_t offset) const {
    return m_tokens[std::min(m_pos + offset, m_tokens.size() - 1)];
  }
  bool Is(TokenKind kind) const { return Peek().kind == kind; }
  bool Accept(TokenKind kind);
  void Expect(TokenKind kind, int32_t errorNumber);
  std::string ExpectName();
  [[noreturn]] void Fail(int32_t number) const;

  // Holds one level of nesting for its scope; raises past kMaxNesting.
  class Nest {
   public:
    explicit Nest(Parser& parser);
    ~Nest() { --m_parser.m_depth; }
    Nest(const Nest&) = delete;
    Nest& operator=(const Nest&) = delete;

   private:
    Parser& m_parser;
  };

  std::vector<Token> m_tokens;
  size_t m_pos = 0;
  int m_depth = 0;
  int m_singleLineIf = 0;  // inside a one-line If, Else ends a statement
  std::vector<ExitKind> m_exits;  // the loops and procedure around the statement
  bool m_optionExplicit = false;
};

}  // namespace korad::vbscript
