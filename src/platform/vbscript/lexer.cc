#include "platform/vbscript/lexer.h"

#include <array>
#include <unordered_map>
#include <utility>

#include "contracts/text.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

struct Keyword {
  std::string_view word;
  TokenKind kind;
};

constexpr std::array kKeywords = {
    Keyword{"And", TokenKind::kAnd},         Keyword{"ByRef", TokenKind::kByRef},
    Keyword{"ByVal", TokenKind::kByVal},     Keyword{"Call", TokenKind::kCall},
    Keyword{"Case", TokenKind::kCase},       Keyword{"Const", TokenKind::kConst},
    Keyword{"Dim", TokenKind::kDim},         Keyword{"Do", TokenKind::kDo},
    Keyword{"Each", TokenKind::kEach},       Keyword{"Else", TokenKind::kElse},
    Keyword{"ElseIf", TokenKind::kElseIf},   Keyword{"Empty", TokenKind::kEmpty},
    Keyword{"End", TokenKind::kEnd_},        Keyword{"Eqv", TokenKind::kEqv},
    Keyword{"Exit", TokenKind::kExit},       Keyword{"False", TokenKind::kFalse},
    Keyword{"For", TokenKind::kFor},         Keyword{"Function", TokenKind::kFunction},
    Keyword{"If", TokenKind::kIf},           Keyword{"Imp", TokenKind::kImp},
    Keyword{"Is", TokenKind::kIs},           Keyword{"Loop", TokenKind::kLoop},
    Keyword{"Mod", TokenKind::kMod},         Keyword{"Next", TokenKind::kNext},
    Keyword{"Not", TokenKind::kNot},         Keyword{"Nothing", TokenKind::kNothing},
    Keyword{"Null", TokenKind::kNull},       Keyword{"On", TokenKind::kOn},
    Keyword{"Option", TokenKind::kOption},   Keyword{"Or", TokenKind::kOr},
    Keyword{"Private", TokenKind::kPrivate}, Keyword{"Public", TokenKind::kPublic},
    Keyword{"ReDim", TokenKind::kReDim},     Keyword{"Select", TokenKind::kSelect},
    Keyword{"Set", TokenKind::kSet},         Keyword{"Sub", TokenKind::kSub},
    Keyword{"Then", TokenKind::kThen},       Keyword{"To", TokenKind::kTo},
    Keyword{"True", TokenKind::kTrue},       Keyword{"Until", TokenKind::kUntil},
    Keyword{"Wend", TokenKind::kWend},       Keyword{"While", TokenKind::kWhile},
    Keyword{"Xor", TokenKind::kXor},
};

constexpr bool IsLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool IsHexDigit(char c) noexcept {
  return IsDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}
constexpr bool IsBlank(char c) noexcept { return c == ' ' || c == '\t'; }

TokenKind KeywordKind(std::string_view word) {
  using KeywordMap = std::unordered_map<std::string_view, TokenKind, NoCaseHash, NoCaseEqual>;
  static const KeywordMap map = [] {
    KeywordMap m;
    for (const Keyword& k : kKeywords) m.emplace(k.word, k.kind);
    return m;
  }();
  const auto it = map.find(word);
  return it == map.end() ? TokenKind::kName : it->second;
}

// A whole-number literal is an Integer if it fits, a Long next, a Double beyond.
Value NumberValue(double number, bool integral) {
  if (integral && number >= -32768 && number <= 32767) return Value(static_cast<int16_t>(number));
  if (integral && number >= -2147483648.0 && number <= 2147483647.0) return Value(static_cast<int32_t>(number));
  return Value(number);
}

class Lexer {
 public:
  explicit Lexer(std::string_view source) : m_source(source) {}

  std::vector<Token> Run() {
    m_tokens.reserve(m_source.size() / 4 + 4);
    while (true) {
      SkipBlanks();
      if (AtEnd()) break;
      const char c = Peek();
      if (c == '\'') {
        SkipToLineEnd();
      } else if (c == '\r' || c == '\n') {
        ReadLineEnd();
        Push(TokenKind::kNewLine);
        ++m_line;
      } else if (c == '_' && IsContinuation()) {
        // The line end after " _" belongs to the same statement.
        ++m_pos;
        SkipBlanks();
        ReadLineEnd();
        ++m_line;
      } else if (IsLetter(c)) {
        ReadName();
      } else if (IsDigit(c) || (c == '.' && IsDigit(PeekAt(1)))) {
        ReadDecimal();
      } else if (c == '&' && (PeekAt(1) == 'h' || PeekAt(1) == 'H' || PeekAt(1) == 'o' || PeekAt(1) == 'O')) {
        ReadRadix();
      } else if (c == '"') {
        ReadString();
      } else if (c == '#') {
        ReadDate();
      } else {
        ReadSymbol();
      }
    }
    Push(TokenKind::kEnd);
    return std::move(m_tokens);
  }

 private:
  bool AtEnd() const noexcept { return m_pos >= m_source.size(); }
  char Peek() const noexcept { return PeekAt(0); }
  char PeekAt(size_t offset) const noexcept {
    return m_pos + offset < m_source.size() ? m_source[m_pos + offset] : '\0';
  }
  void SkipBlanks() noexcept {
    while (!AtEnd() && IsBlank(Peek())) ++m_pos;
  }
  void SkipToLineEnd() noexcept {
    while (!AtEnd() && Peek() != '\r' && Peek() != '\n') ++m_pos;
  }
  // CR LF, LF or CR.
  void ReadLineEnd() noexcept {
    if (Peek() == '\r') ++m_pos;
    if (Peek() == '\n') ++m_pos;
  }
  // "_" followed by nothing but blanks up to a line end (or the end of the text).
  bool IsContinuation() const noexcept {
    size_t i = m_pos + 1;
    while (i < m_source.size() && IsBlank(m_source[i])) ++i;
    return i == m_source.size() || m_source[i] == '\r' || m_source[i] == '\n';
  }
  Token& Push(TokenKind kind) {
    Token& token = m_tokens.emplace_back();
    token.kind = kind;
    token.line = m_line;
    return token;
  }
  [[noreturn]] void Fail(int32_t number) const { RaiseCompileError(number, m_line); }

  void ReadName() {
    const size_t start = m_pos;
    while (!AtEnd() && (IsLetter(Peek()) || IsDigit(Peek()) || Peek() == '_')) ++m_pos;
    const std::string_view word = m_source.substr(start, m_pos - start);
    if (EqualsNoCase(word, "Rem")) {
      SkipToLineEnd();
      return;
    }
    const TokenKind kind = KeywordKind(word);
    Token& token = Push(kind);
    if (kind == TokenKind::kName) token.text = std::string(word);
  }

  void ReadDecimal() {
    const size_t start = m_pos;
    bool integral = true;
    while (IsDigit(Peek())) ++m_pos;
    if (Peek() == '.') {
      integral = false;
      ++m_pos;
      while (IsDigit(Peek())) ++m_pos;
    }
    if ((Peek() == 'e' || Peek() == 'E') &&
        (IsDigit(PeekAt(1)) || ((PeekAt(1) == '+' || PeekAt(1) == '-') && IsDigit(PeekAt(2))))) {
      integral = false;
      m_pos += 2;
      while (IsDigit(Peek())) ++m_pos;
    }
    if (IsLetter(Peek()) || Peek() == '_') Fail(kErrExpectedEndOfStatement);
    const auto number = ParseNumber(m_source.substr(start, m_pos - start));
    if (!number) Fail(kErrInvalidNumber);
    Push(TokenKind::kNumber).value = NumberValue(*number, integral);
  }

  void ReadRadix() {
    const size_t start = m_pos;
    m_pos += 2;
    while (IsHexDigit(Peek())) ++m_pos;
    const auto number = ParseNumber(m_source.substr(start, m_pos - start));
    if (!number || IsLetter(Peek())) Fail(kErrInvalidNumber);
    Push(TokenKind::kNumber).value = NumberValue(*number, true);
  }

  void ReadString() {
    std::string text;
    ++m_pos;
    while (true) {
      if (AtEnd() || Peek() == '\r' || Peek() == '\n') Fail(kErrUnterminatedString);
      const char c = m_source[m_pos++];
      if (c == '"') {
        if (Peek() != '"') break;
        ++m_pos;  // a doubled quote is one quote
      }
      text.push_back(c);
    }
    Push(TokenKind::kString).text = std::move(text);
  }

  void ReadDate() {
    const size_t start = ++m_pos;
    while (!AtEnd() && Peek() != '#' && Peek() != '\r' && Peek() != '\n') ++m_pos;
    if (Peek() != '#') Fail(kErrSyntax);
    const auto date = ParseDate(m_source.substr(start, m_pos - start));
    ++m_pos;
    if (!date) Fail(kErrSyntax);
    Push(TokenKind::kDate).value = Value(*date);
  }

  void ReadSymbol() {
    const char c = m_source[m_pos++];
    TokenKind kind;
    switch (c) {
      case ':': kind = TokenKind::kColon; break;
      case '+': kind = TokenKind::kPlus; break;
      case '-': kind = TokenKind::kMinus; break;
      case '*': kind = TokenKind::kStar; break;
      case '/': kind = TokenKind::kSlash; break;
      case '\\': kind = TokenKind::kBackslash; break;
      case '^': kind = TokenKind::kCaret; break;
      case '&': kind = TokenKind::kAmp; break;
      case '=': kind = TokenKind::kEq; break;
      case '(': kind = TokenKind::kLParen; break;
      case ')': kind = TokenKind::kRParen; break;
      case ',': kind = TokenKind::kComma; break;
      case '.': kind = TokenKind::kDot; break;
      case '<':
        kind = TokenKind::kLt;
        if (Peek() == '>') kind = TokenKind::kNe;
        if (Peek() == '=') kind = TokenKind::kLe;
        if (kind != TokenKind::kLt) ++m_pos;
        break;
      case '>':
        kind = TokenKind::kGt;
        if (Peek() == '=') {
          kind = TokenKind::kGe;
          ++m_pos;
        }
        break;
      default: Fail(kErrInvalidCharacter);
    }
    Push(kind);
  }

  std::string_view m_source;
  size_t m_pos = 0;
  int m_line = 1;
  std::vector<Token> m_tokens;
};

}  // namespace

std::vector<Token> Tokenize(std::string_view source) { return Lexer(source).Run(); }

std::string_view KeywordText(TokenKind kind) {
  for (const Keyword& k : kKeywords) {
    if (k.kind == kind) return k.word;
  }
  return "";
}

}  // namespace korad::vbscript
