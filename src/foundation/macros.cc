#include "foundation/macros.h"

#include <optional>
#include <string>

#include "contracts/error.h"
#include "contracts/ole_date.h"
#include "contracts/text.h"
#include "foundation/module_properties.h"
#include "foundation/system_weekday_names.h"
#include "platform/clock.h"
#include "platform/environment.h"
#include "platform/platform.h"
#include "platform/scripting_dictionary.h"

namespace korad {
namespace {

constexpr std::string_view kEnvVarToken = "[?mvEnvVar.";
constexpr std::string_view kRegistryToken = "[?mvRegistry.";
constexpr std::string_view kPropertyToken = "[?mvProperty.";
constexpr std::string_view kDateOffsetToken = "[?mvDateOffset";

// Positions below are 1-based with 0 for "not found", as the cut-and-join arithmetic of
// the macro grammar is written in them.
size_t Find(const std::string& text, std::string_view what, size_t start) {
  if (start == 0 || start > text.size()) return 0;
  const size_t at = text.find(what, start - 1);
  return at == std::string::npos ? 0 : at + 1;
}

// The leftmost `count` characters; a negative count is an invalid call.
std::string Left(std::string_view text, long long count) {
  if (count < 0) RaiseRuntimeError(kErrInvalidCall);
  return std::string(text.substr(0, static_cast<size_t>(count)));
}

std::string Right(std::string_view text, long long count) {
  if (count < 0) RaiseRuntimeError(kErrInvalidCall);
  const auto n = static_cast<size_t>(count);
  return n >= text.size() ? std::string(text) : std::string(text.substr(text.size() - n));
}

// `count` characters from 1-based `start`; past the end is blank.
std::string Mid(std::string_view text, long long start, long long count) {
  if (start < 1 || count < 0) RaiseRuntimeError(kErrInvalidCall);
  const auto from = static_cast<size_t>(start - 1);
  if (from >= text.size()) return {};
  return std::string(text.substr(from, static_cast<size_t>(count)));
}

long long Pos(size_t position) { return static_cast<long long>(position); }

// The name between the token's prefix (ending before `nameStart`) and `close`.
std::string NameBetween(const std::string& text, size_t nameStart, size_t close) {
  return Mid(TrimBlanks(text), Pos(nameStart), Pos(close) - Pos(nameStart));
}

// Head before `start`, then `replacement`, then the tail behind `close`, with the head
// and tail cut from the trimmed text (see the note in macros.h).
std::string CutAndJoin(const std::string& text, size_t start, size_t close, std::string_view replacement) {
  const std::string_view trimmed = TrimBlanks(text);
  std::string result = Left(trimmed, Pos(start) - 1);
  result.append(replacement);
  result.append(Right(trimmed, Pos(trimmed.size()) - Pos(close)));
  return result;
}

std::string TwoDigits(int number) {
  std::string text = std::to_string(number);
  return text.size() < 2 ? "0" + text : text;
}

void Log(const LogManagerRef& logManager, std::string_view category, const std::string& text) {
  if (logManager) logManager->Log(text, category, logLevelDebug);
}

}  // namespace

void ExpandMacros(Value& text) {
  ExpandEnvVars(text);
  ExpandRegistry(text);
  ExpandDates(text);
}

void ExpandEnvVars(Value& text) {
  const std::string* held = text.AsString();
  if (!held) return;
  std::string s = *held;
  size_t p = Find(s, kEnvVarToken, 1);
  while (p > 0) {
    const size_t c = Find(s, "]", p + 2);
    if (c > 0) {
      const std::string name = NameBetween(s, p + kEnvVarToken.size(), c);
      const std::optional<std::string> value =
          name.empty() ? std::nullopt : Platform::Current().GetEnvironment().Variable(name);
      s = CutAndJoin(s, p, c, value.value_or(""));
    }
    p = Find(s, kEnvVarToken, 1);
  }
  text = Value(std::move(s));
}

void ExpandRegistry(Value& text) {
  const std::string* held = text.AsString();
  if (!held) return;
  std::string s = *held;
  size_t p = Find(s, kRegistryToken, 1);
  while (p > 0) {
    const size_t c = Find(s, "]", p + 2);
    if (c > 0) {
      std::string path = NameBetween(s, p + kRegistryToken.size(), c);
      s = CutAndJoin(s, p, c, ReadRegistryValue(path));
    } else {
      s = Left(TrimBlanks(s), Pos(p) - 1);
    }
    p = Find(s, kRegistryToken, 1);
  }
  text = Value(std::move(s));
}

void ExpandDates(Value& text) {
  const std::string* held = text.AsString();
  // Every token starts with "[?": a text without one needs no clock.
  if (!held || held->find("[?") == std::string::npos) return;
  std::string s = *held;

  const OleDate today = Platform::Current().GetClock().LocalNow();
  OleDate date = today;
  if (const size_t p = Find(s, kDateOffsetToken, 1); p > 0) {
    const size_t c1 = Find(s, ",", p + kDateOffsetToken.size());
    const size_t c2 = c1 > 0 ? Find(s, ",", c1 + 1) : 0;
    const size_t e = c2 > 0 ? Find(s, "]", c2 + 1) : 0;
    if (e > 0) {
      const std::string interval = NameBetween(s, c1 + 1, c2);
      const double number = Value(NameBetween(s, c2 + 1, e)).ToDouble();
      date = DateAdd(interval, number, date);
      s = CutAndJoin(s, p, e, "");
    }
  }

  const CivilTime parts = date.ToCivil();
  const std::string year = std::to_string(parts.year);
  s = ReplaceText(s, "[?mvDate.MM]", TwoDigits(parts.month));
  s = ReplaceText(s, "[?mvDate.M]", std::to_string(parts.month));
  s = ReplaceText(s, "[?mvDate.DD]", TwoDigits(parts.day));
  s = ReplaceText(s, "[?mvDate.D]", std::to_string(parts.day));
  s = ReplaceText(s, "[?mvDate.YYYY]", TwoDigits(parts.year));
  s = ReplaceText(s, "[?mvDate.YY]", Right(year, 2));
  s = ReplaceText(s, "[?mvDate.YY]", Right(year, 2));
  // The weekday tokens name today whatever the offset: reports that say "as of Monday"
  // while counting from last week depend on it.
  const int weekday = Weekday(today);
  s = ReplaceTextNoCase(s, "[?mvDate.WDL]", SystemWeekdayName(weekday, false));
  s = ReplaceTextNoCase(s, "[?mvDate.WDS]", SystemWeekdayName(weekday, true));
  text = Value(std::move(s));
}

void ReplaceProperties(Value& text, std::string_view section, std::string_view configurationName,
                       std::string_view moduleName, ScriptingDictionary& properties,
                       const LogManagerRef& logManager) {
  const std::string* held = text.AsString();
  if (!held) return;
  std::string s = *held;
  Log(logManager, moduleName, "ReplaceProperties started - " + s);
  size_t p = Find(s, kPropertyToken, 1);
  while (p > 0) {
    const size_t c = Find(s, "]", p + 2);
    if (c > 0) {
      const std::string name = NameBetween(s, p + kPropertyToken.size(), c);
      Log(logManager, moduleName, "ReplaceProperties: Found replacement variable " + name);
      if (const ModuleProp* property = FindModuleProp(properties, "GLOBAL." + UpperAscii(name))) {
        Log(logManager, moduleName, "ReplaceProperties: Matched...replacing with " + property->Value);
        const std::string_view trimmed = TrimBlanks(s);
        const std::string head = Left(trimmed, Pos(p) - 1);
        const std::string tail = Right(trimmed, Pos(trimmed.size()) - Pos(c));
        Log(logManager, moduleName, "ReplaceProperties: " + head);
        Log(logManager, moduleName, "ReplaceProperties: " + tail);
        s = head + property->Value + tail;
        Log(logManager, moduleName, "ReplaceProperties: Final String = " + s);
      }
    }
    p = Find(s, kPropertyToken, p + 1);
  }
  Log(logManager, moduleName, "ReplaceProperties completed");
  text = Value(std::move(s));
}

}  // namespace korad
