// String built-ins. Text is bytes; "text compare" (1) folds ASCII letters only.
#include <algorithm>
#include <string>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/vbscript/builtins.h"
#include "platform/vbscript/script_array.h"
#include "platform/vbscript/script_errors.h"

namespace korad::vbscript {
namespace {

// A length or position argument: a Long, negative raising 5.
size_t Count(const Value& v) {
  const int32_t n = v.ToLong();
  if (n < 0) RaiseRuntimeError(kErrInvalidCall);
  return static_cast<size_t>(n);
}

// A start position: 1 or more.
size_t Start(const Value& v) {
  const int32_t n = v.ToLong();
  if (n < 1) RaiseRuntimeError(kErrInvalidCall);
  return static_cast<size_t>(n);
}

// vbTextCompare (1) or vbBinaryCompare (0, the default).
bool TextCompare(const Value* compare) {
  if (!compare) return false;
  const int32_t mode = compare->ToLong();
  if (mode < 0 || mode > 1) RaiseRuntimeError(kErrInvalidCall);
  return mode == 1;
}

void CheckText(size_t length, const BuiltinLimits& limits) {
  if (length > limits.maxText) RaiseScriptError(kErrOutOfStringSpace);
}

// Position of `needle` in `haystack` from `from` (0-based), or npos.
size_t Find(const std::string& haystack, const std::string& needle, size_t from, bool noCase) {
  if (!noCase) return haystack.find(needle, from);
  return UpperAscii(haystack).find(UpperAscii(needle), from);
}

Value Left(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const size_t n = Count(a[1]);
  return Value(a[0].ToText().substr(0, n));
}

Value Right(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const std::string text = a[0].ToText();
  const size_t n = std::min(Count(a[1]), text.size());
  return Value(text.substr(text.size() - n));
}

Value Mid(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const std::string text = a[0].ToText();
  const size_t start = Start(a[1]);
  const size_t length = Optional(a, 2) ? Count(a[2]) : std::string::npos;
  if (start > text.size()) return Value("");
  return Value(text.substr(start - 1, length));
}

Value Len(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  return Value(static_cast<int32_t>(a[0].ToText().size()));
}

Value UCase(Arguments a, const BuiltinLimits&) { return a[0].IsNull() ? a[0] : Value(UpperAscii(a[0].ToText())); }
Value LCase(Arguments a, const BuiltinLimits&) { return a[0].IsNull() ? a[0] : Value(LowerAscii(a[0].ToText())); }
Value Trim(Arguments a, const BuiltinLimits&) { return a[0].IsNull() ? a[0] : Value(TrimBlanks(a[0].ToText())); }

Value LTrim(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const std::string text = a[0].ToText();
  const size_t first = text.find_first_not_of(' ');
  return Value(first == std::string::npos ? std::string() : text.substr(first));
}

Value RTrim(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull()) return a[0];
  const std::string text = a[0].ToText();
  const size_t last = text.find_last_not_of(' ');
  return Value(last == std::string::npos ? std::string() : text.substr(0, last + 1));
}

// InStr([start,] text, sought[, compare]): 1-based position, 0 when absent.
Value InStr(Arguments a, const BuiltinLimits&) {
  size_t start = 1;
  if (a.size() >= 3) {
    if (a[0].IsNull()) RaiseRuntimeError(kErrInvalidUseOfNull);
    start = Start(a[0]);
    a = a.subspan(1);
  }
  if (a[0].IsNull() || a[1].IsNull()) return Value(Value::Null);
  const bool noCase = TextCompare(Optional(a, 2));
  const std::string text = a[0].ToText();
  const std::string sought = a[1].ToText();
  if (start > text.size()) return Value(int32_t{0});
  if (sought.empty()) return Value(static_cast<int32_t>(start));
  const size_t at = Find(text, sought, start - 1, noCase);
  return Value(at == std::string::npos ? int32_t{0} : static_cast<int32_t>(at + 1));
}

// InStrRev(text, sought[, start[, compare]]): searches backwards from start (-1: the end).
Value InStrRev(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull() || a[1].IsNull()) return Value(Value::Null);
  std::string text = a[0].ToText();
  std::string sought = a[1].ToText();
  int32_t start = Optional(a, 2) ? a[2].ToLong() : -1;
  if (start == 0 || start < -1) RaiseRuntimeError(kErrInvalidCall);
  if (start == -1) start = static_cast<int32_t>(text.size());
  if (TextCompare(Optional(a, 3))) {
    text = UpperAscii(text);
    sought = UpperAscii(sought);
  }
  if (static_cast<size_t>(start) > text.size()) return Value(int32_t{0});
  if (sought.empty()) return Value(start);
  if (sought.size() > static_cast<size_t>(start)) return Value(int32_t{0});
  const size_t at = text.rfind(sought, static_cast<size_t>(start) - sought.size());
  return Value(at == std::string::npos ? int32_t{0} : static_cast<int32_t>(at + 1));
}

// Replace(text, find, with[, start[, count[, compare]]]): the result starts at `start`.
Value Replace(Arguments a, const BuiltinLimits& limits) {
  if (AnyNull(a.subspan(0, 3))) return a[0].IsNull() ? a[0] : Value(Value::Null);
  const std::string whole = a[0].ToText();
  const std::string find = a[1].ToText();
  const std::string with = a[2].ToText();
  const size_t start = Optional(a, 3) ? Start(a[3]) : 1;
  const int32_t count = Optional(a, 4) ? a[4].ToLong() : -1;
  if (count < -1) RaiseRuntimeError(kErrInvalidCall);
  const bool noCase = TextCompare(Optional(a, 5));
  if (start > whole.size()) return Value("");
  const std::string text = whole.substr(start - 1);
  if (find.empty() || count == 0) return Value(text);
  const std::string haystack = noCase ? UpperAscii(text) : text;
  const std::string needle = noCase ? UpperAscii(find) : find;
  std::vector<size_t> hits;
  for (size_t at = haystack.find(needle); at != std::string::npos && (count < 0 || hits.size() < static_cast<size_t>(count));
       at = haystack.find(needle, at + needle.size())) {
    hits.push_back(at);
  }
  CheckText(text.size() - hits.size() * find.size() + hits.size() * with.size(), limits);
  std::string out;
  size_t from = 0;
  for (size_t at : hits) {
    out.append(text, from, at - from);
    out += with;
    from = at + find.size();
  }
  out.append(text, from);
  return Value(std::move(out));
}

// Split(text[, delimiter[, count[, compare]]]): an empty text gives an empty array.
Value Split(Arguments a, const BuiltinLimits& limits) {
  const std::string text = a[0].ToText();
  const std::string delimiter = Optional(a, 1) ? a[1].ToText() : std::string(" ");
  const int32_t count = Optional(a, 2) ? a[2].ToLong() : -1;
  if (count < -1) RaiseRuntimeError(kErrInvalidCall);
  const bool noCase = TextCompare(Optional(a, 3));
  std::vector<Value> parts;
  if (text.empty() || count == 0) return MakeArray(std::move(parts));
  const std::string haystack = noCase ? UpperAscii(text) : text;
  const std::string needle = noCase ? UpperAscii(delimiter) : delimiter;
  size_t from = 0;
  while (!needle.empty() && (count < 0 || parts.size() + 1 < static_cast<size_t>(count))) {
    const size_t at = haystack.find(needle, from);
    if (at == std::string::npos) break;
    if (parts.size() >= limits.maxArray) RaiseRuntimeError(kErrOutOfMemory);
    parts.emplace_back(text.substr(from, at - from));
    from = at + needle.size();
  }
  parts.emplace_back(text.substr(from));
  return MakeArray(std::move(parts));
}

Value Join(Arguments a, const BuiltinLimits& limits) {
  const ScriptArray* array = AsArray(a[0]);
  if (!array) RaiseRuntimeError(kErrTypeMismatch);
  const std::string delimiter = Optional(a, 1) ? a[1].ToText() : std::string(" ");
  std::string out;
  for (size_t i = 0; i < array->items.size(); ++i) {
    const std::string piece = array->items[i].ToText();
    CheckText(out.size() + piece.size() + (i > 0 ? delimiter.size() : 0), limits);
    if (i > 0) out += delimiter;
    out += piece;
  }
  return Value(std::move(out));
}

Value StrComp(Arguments a, const BuiltinLimits&) {
  if (a[0].IsNull() || a[1].IsNull()) return Value(Value::Null);
  std::string x = a[0].ToText();
  std::string y = a[1].ToText();
  if (TextCompare(Optional(a, 2))) {
    x = UpperAscii(x);
    y = UpperAscii(y);
  }
  const int c = x.compare(y);
  return Value(static_cast<int16_t>(c < 0 ? -1 : (c > 0 ? 1 : 0)));
}

Value Chr(Arguments a, const BuiltinLimits&) {
  const int32_t code = a[0].ToLong();
  if (code < 0 || code > 255) RaiseRuntimeError(kErrInvalidCall);
  return Value(std::string(1, static_cast<char>(code)));
}

Value Asc(Arguments a, const BuiltinLimits&) {
  const std::string text = a[0].ToText();
  if (text.empty()) RaiseRuntimeError(kErrInvalidCall);
  return Value(static_cast<int16_t>(static_cast<unsigned char>(text[0])));
}

// String(count, character): the character as text (its first letter) or as a code.
Value StringFn(Arguments a, const BuiltinLimits& limits) {
  if (AnyNull(a)) return Value(Value::Null);
  const size_t n = Count(a[0]);
  CheckText(n, limits);
  char c;
  if (a[1].IsString()) {
    if (a[1].AsString()->empty()) RaiseRuntimeError(kErrInvalidCall);
    c = (*a[1].AsString())[0];
  } else {
    c = static_cast<char>(((a[1].ToLong() % 256) + 256) % 256);
  }
  return Value(std::string(n, c));
}

Value Space(Arguments a, const BuiltinLimits& limits) {
  const size_t n = Count(a[0]);
  CheckText(n, limits);
  return Value(std::string(n, ' '));
}

Value StrReverse(Arguments a, const BuiltinLimits&) {
  std::string text = a[0].ToText();
  std::reverse(text.begin(), text.end());
  return Value(std::move(text));
}

constexpr Builtin kStrings[] = {
    {"Left", 2, 2, Left},         {"Right", 2, 2, Right},       {"Mid", 2, 3, Mid},
    {"Len", 1, 1, Len},           {"UCase", 1, 1, UCase},       {"LCase", 1, 1, LCase},
    {"Trim", 1, 1, Trim},         {"LTrim", 1, 1, LTrim},       {"RTrim", 1, 1, RTrim},
    {"InStr", 2, 4, InStr},       {"InStrRev", 2, 4, InStrRev}, {"Replace", 3, 6, Replace},
    {"Split", 1, 4, Split},       {"Join", 1, 2, Join},         {"StrComp", 2, 3, StrComp},
    {"Chr", 1, 1, Chr},           {"Asc", 1, 1, Asc},           {"String", 2, 2, StringFn},
    {"Space", 1, 1, Space},       {"StrReverse", 1, 1, StrReverse},
};

}  // namespace

std::span<const Builtin> StringBuiltins() { return kStrings; }

}  // namespace korad::vbscript
