// Macro substitution in configuration values: dates against a fixed local clock,
// environment variables, registry values with their encryption rules, and Module.pro
// properties.
//
// Not tested on purpose: an [?mvEnvVar. token without its "]" makes ExpandEnvVars loop
// for ever (the server always closes its tokens, and no guard is wanted), so a test of
// it could only hang.
#include <gtest/gtest.h>

#include "contracts/error.h"
#include "foundation/agent_home_fixture.h"
#include "foundation/macros.h"
#include "foundation/module_properties.h"
#include "foundation/system_weekday_names.h"
#include "platform/registry.h"
#include "platform/scripting_dictionary.h"
#include "support/error_number.h"

namespace korad {
namespace {

using testing::AgentHomeTest;
using testing::NumberOf;

std::string Expand(void (*stage)(Value&), std::string text) {
  Value value(std::move(text));
  stage(value);
  return value.ToText();
}

using MacroTest = AgentHomeTest;

TEST_F(MacroTest, DateTokensReadTheLocalDate) {
  SetLocalNow(2026, 3, 5, 1);  // 4 March 23:00 UTC: only the local date gives the 5th
  EXPECT_EQ(Expand(ExpandDates, "[?mvDate.YYYY]-[?mvDate.MM]-[?mvDate.DD]"), "2026-03-05");
  EXPECT_EQ(Expand(ExpandDates, "[?mvDate.M]/[?mvDate.D]/[?mvDate.YY] [?mvDate.YY]"), "3/5/26 26");
  EXPECT_EQ(Expand(ExpandDates, "log_[?mvDate.YYYY][?mvDate.MM][?mvDate.DD].txt x[?mvDate.MM]"),
            "log_20260305.txt x03");
  // Only the weekday tokens ignore case.
  EXPECT_EQ(Expand(ExpandDates, "[?mvdate.mm] [?MVDATE.WDL] [?mvDate.wds]"),
            "[?mvdate.mm] Thursday Thu");

  Value number(int32_t{42});
  ExpandMacros(number);
  EXPECT_EQ(number, Value(int32_t{42})) << "values other than text are left as they are";
}

TEST_F(MacroTest, WeekdayNamesCountFromTheLocalesFirstDay) {
  EXPECT_EQ(SystemFirstDayOfWeek(), 1);
  m_environment->weekdays = {{"Sonntag", "Montag", "Dienstag", "Mittwoch", "Donnerstag", "Freitag", "Samstag"},
                             {"So", "Mo", "Di", "Mi", "Do", "Fr", "Sa"},
                             2};
  EXPECT_EQ(SystemFirstDayOfWeek(), 2);
  SetLocalNow(2026, 3, 5);  // a Thursday, day 5 counted from Sunday: a week from Monday names it a day on
  EXPECT_EQ(Expand(ExpandDates, "[?mvDate.WDL]/[?mvDate.WDS]"), "Freitag/Fr");
  EXPECT_EQ(SystemWeekdayName(7, false), "Sonntag");
  EXPECT_EQ(SystemWeekdayName(0, false), "");
}

TEST_F(MacroTest, AnOffsetMovesTheDateTokensButNeverTheWeekday) {
  SetLocalNow(2026, 3, 1);
  EXPECT_EQ(Expand(ExpandDates, "[?mvDateOffset,d,-1][?mvDate.D] [?mvDate.WDL]"), "28 Sunday");
  EXPECT_EQ(Expand(ExpandDates, "[?mvDate.YYYY][?mvDateOffset,yyyy,-1]"), "2025");

  // Only the first offset counts; a second stays in the text, unexpanded.
  EXPECT_EQ(Expand(ExpandDates, "[?mvDateOffset,m,1][?mvDate.MM][?mvDateOffset,m,1]"), "04[?mvDateOffset,m,1]");
  // An offset missing a part is ignored and stays.
  EXPECT_EQ(Expand(ExpandDates, "[?mvDateOffset,d]x[?mvDate.D]"), "[?mvDateOffset,d]x1");
}

TEST_F(MacroTest, ABadOffsetRaisesAndLeavesTheValueAsItWas) {
  SetLocalNow(2026, 3, 1);
  Value badInterval("[?mvDateOffset,fortnight,1][?mvDate.D]");
  EXPECT_EQ(NumberOf([&] { ExpandMacros(badInterval); }), kErrInvalidCall);
  EXPECT_EQ(badInterval.ToText(), "[?mvDateOffset,fortnight,1][?mvDate.D]");

  Value badNumber("[?mvDateOffset,d,one][?mvDate.D]");
  EXPECT_EQ(NumberOf([&] { ExpandMacros(badNumber); }), kErrTypeMismatch);
  EXPECT_EQ(badNumber.ToText(), "[?mvDateOffset,d,one][?mvDate.D]");
}

TEST_F(MacroTest, EnvironmentVariablesAreExpandedThenTheirOwnMacros) {
  SetLocalNow(2026, 3, 5);
  m_environment->variables = {{"KORAD_MACRO_TEST_DIR", "/data/[?mvDate.YYYY]"},
                              {"KORAD_MACRO_TEST_NESTED", "<[?mvEnvVar.KORAD_MACRO_TEST_DIR]>"}};

  EXPECT_EQ(Expand(ExpandEnvVars, "a[?mvEnvVar.KORAD_MACRO_TEST_UNSET]b"), "ab");
  EXPECT_EQ(Expand(ExpandEnvVars, "[?mvEnvVar.KORAD_MACRO_TEST_NESTED]"), "</data/[?mvDate.YYYY]>");
  EXPECT_EQ(Expand(ExpandMacros, "[?mvEnvVar.KORAD_MACRO_TEST_DIR]/x [?mvEnvVar.KORAD_MACRO_TEST_DIR]"),
            "/data/2026/x /data/2026");
}

class RegistryMacroTest : public AgentHomeTest {
 protected:
  Registry& Store() { return Platform::Current().GetRegistry(); }
  void Put(std::string_view name, RegistryValue value) {
    ASSERT_TRUE(Store().SetValue(RegistryHive::LocalMachine, "Software\\Acme", name, value));
  }
  RegistryValue Get(std::string_view name) {
    return Store().QueryValue(RegistryHive::LocalMachine, "Software\\Acme", name).value_or(RegistryValue{});
  }
};

TEST_F(RegistryMacroTest, ValuesReadPlainWithTheCargoMarkerRemoved) {
  Put("Plain", RegistryValue::String("secret{mvCargo 12}tail"));
  Put("Head", RegistryValue::String("{mvCargo1}rest"));
  Put("Unclosed", RegistryValue::String("ab{mvCargoX"));
  Put("Count", RegistryValue::Dword(0xFFFFFFFEu));
  Put("Bytes", RegistryValue::Binary("raw"));

  EXPECT_EQ(Expand(ExpandRegistry, "<[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Plain]>"), "<secrettail>");
  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.hkey_local_machine\\software\\acme!HEAD]"), "rest");
  // A marker without "}" ends at 0: the whole text follows the head once more.
  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Unclosed]"), "abab{mvCargoX");
  EXPECT_EQ(Expand(ExpandRegistry, "n=[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Count]"), "n=-2");
  EXPECT_EQ(Expand(ExpandRegistry, "[[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Bytes]]"), "[]");

  // Missing keys, values, hives other than the four long names, and paths without "!"
  // all read blank.
  EXPECT_EQ(Expand(ExpandRegistry, "a[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Nope]b"), "ab");
  EXPECT_EQ(Expand(ExpandRegistry, "a[?mvRegistry.HKLM\\Software\\Acme!Plain]b"), "ab");
  std::string noBang = "HKEY_LOCAL_MACHINE\\Software\\Acme";
  EXPECT_EQ(ReadRegistryValue(noBang), "");
  std::string noBackslash = "HKEY_LOCAL_MACHINE!Plain";
  EXPECT_EQ(ReadRegistryValue(noBackslash), "");

  // A token without its "]" cuts the text off where it starts.
  EXPECT_EQ(Expand(ExpandRegistry, "a[?mvRegistry.HKEY_LOCAL_MACHINE\\Nope"), "a");
  EXPECT_EQ(Expand(ExpandRegistry, "a[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Plain"), "a");
}

TEST_F(RegistryMacroTest, EncryptAsksForSchemeFourInTheRegistryAndPlainTextForTheCaller) {
  Put("Password", RegistryValue::String("hunter2"));
  Put("Older", RegistryValue::String(Cipher().Encrypt("swordfish", 3)));
  Put("Kept", RegistryValue::String(Cipher().Encrypt("opensesame", 3)));

  std::string path = "{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Password";
  EXPECT_EQ(ReadRegistryValue(path), "hunter2");
  EXPECT_EQ(path, "HKEY_LOCAL_MACHINE\\Software\\Acme!Password") << "the prefix is taken off the caller's path";
  const RegistryValue stored = Get("Password");
  EXPECT_EQ(stored.type, REG_SZ);
  EXPECT_EQ(Cipher().GetScheme(stored.data), 4);
  EXPECT_EQ(Cipher().Decrypt(stored.data), "hunter2");
  // Read again: already scheme 4, so the stored text doesn't change.
  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Password]"), "hunter2");
  EXPECT_EQ(Get("Password"), stored);

  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Older]"), "swordfish");
  EXPECT_EQ(Cipher().GetScheme(Get("Older").data), 4);

  // Without the prefix cipher text is read plain and stays as it was stored.
  const RegistryValue kept = Get("Kept");
  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.HKEY_LOCAL_MACHINE\\Software\\Acme!Kept]"), "opensesame");
  EXPECT_EQ(Get("Kept"), kept);

  // A missing value isn't created by the rewrite.
  EXPECT_EQ(Expand(ExpandRegistry, "[?mvRegistry.{Encrypt}HKEY_LOCAL_MACHINE\\Software\\Acme!Absent]"), "");
  EXPECT_FALSE(Store().QueryValue(RegistryHive::LocalMachine, "Software\\Acme", "Absent"));
}

class PropertyMacroTest : public AgentHomeTest {
 protected:
  std::shared_ptr<ScriptingDictionary> Properties(const std::string& modulePro) {
    WriteFile("ModuleConfigs/Module.pro", modulePro);
    return LoadProperties("MonitorX", nullptr);
  }
  std::string Replace(ScriptingDictionary& properties, std::string text) {
    Value value(std::move(text));
    ReplaceProperties(value, "CPU", "Named", "MonitorX", properties, m_log);
    return value.ToText();
  }
};

TEST_F(PropertyMacroTest, OnlyGlobalPropertiesAreReachedAndUnknownTokensStay) {
  auto properties = Properties(
      "GLOBAL.X=hello\r\n"
      "GLOBAL.SELF=[?mvProperty.Self]\r\n"
      "MonitorX.Y=module-level\r\n");
  EXPECT_EQ(Replace(*properties, "[?mvProperty.x] and [?mvProperty.Unknown] and [?mvProperty.X]"),
            "hello and [?mvProperty.Unknown] and hello");
  EXPECT_EQ(Replace(*properties, "[?mvProperty.Y]"), "[?mvProperty.Y]");
  // A value that begins with its own token is replaced once, and the search moves on.
  EXPECT_EQ(Replace(*properties, "[?mvProperty.Self]"), "[?mvProperty.Self]");
  EXPECT_EQ(Replace(*properties, "[?mvProperty.X"), "[?mvProperty.X");

  m_log->Clear();
  EXPECT_EQ(Replace(*properties, "a[?mvProperty.x]b"), "ahellob");
  std::vector<std::string> texts;
  for (const auto& line : m_log->Lines()) {
    EXPECT_EQ(line.category, "MonitorX");
    EXPECT_EQ(line.level, logLevelDebug);
    texts.push_back(line.text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{
                       "ReplaceProperties started - a[?mvProperty.x]b",
                       "ReplaceProperties: Found replacement variable x",
                       "ReplaceProperties: Matched...replacing with hello",
                       "ReplaceProperties: a",
                       "ReplaceProperties: b",
                       "ReplaceProperties: Final String = ahellob",
                       "ReplaceProperties completed",
                   }));
}

}  // namespace
}  // namespace korad
