// Configurations as a reader fills them and a plug-in reads them, and ValidationRules as
// a plug-in declares them.
#include <gtest/gtest.h>

#include <functional>

#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "platform/platform.h"
#include "support/error_number.h"
#include "support/recording_log.h"

namespace korad {
namespace {

using testing::FailureOf;

using testing::FakeApplication;
using testing::RecordingLogManager;

TEST(Configurations, SectionsFilledOneAfterAnotherAndViewedThroughTheMoniker) {
  Configurations configs;
  EXPECT_EQ(configs.ConfigMoniker(), "Global");
  configs.SetConfigMoniker("CPU");
  configs.Add("X", "1");
  configs.Add("x", "2");  // same key, other case: replaces, keeps the first spelling
  configs.Add("Limit", "90");
  configs.Add("Blank", "   ");
  configs.SetConfigMoniker("Disk");
  configs.Add("Limit", "75");

  EXPECT_EQ(configs.Count(), 1);
  EXPECT_EQ(configs.Item("LIMIT")->Value(), "75");
  configs.SetConfigMoniker("cpu ");  // monikers compare trimmed and upper-cased
  ASSERT_EQ(configs.Count(), 3);
  EXPECT_EQ(configs.Item("x")->Key(), "X");
  EXPECT_EQ(configs.Item("X")->Value(), "2");
  EXPECT_TRUE(configs.Exists("  limit"));
  // Exists trims, but the list lookup that follows takes the key as given.
  Error error = FailureOf([&] { configs.Item(" limit "); });
  EXPECT_EQ(error.Number(), kErrInvalidCall);
  EXPECT_EQ(error.Description(), "Configurations.Item: Invalid procedure call or argument");

  EXPECT_TRUE(configs.IsEmpty("Blank"));
  EXPECT_FALSE(configs.IsEmpty("Limit"));
  EXPECT_FALSE(configs.IsEmpty("Missing")) << "IsEmpty isn't the opposite of Exists";

  configs.SetConfigMoniker("   ");
  EXPECT_EQ(configs.ConfigMoniker(), "Global");
  EXPECT_EQ(configs.Count(), 0);

  configs.ClearConfigs();
  configs.SetConfigMoniker("CPU");
  EXPECT_EQ(configs.Count(), 0);

  // Keys with inner blanks collide on the composite key.
  configs.Add("A B", "1");
  error = FailureOf([&] { configs.Add("AB", "2"); });
  EXPECT_EQ(error.Number(), kErrDuplicateKey);
  EXPECT_EQ(error.Description().rfind("Configurations.Add: ", 0), 0u);
  EXPECT_EQ(configs.Count(), 1);
  EXPECT_EQ(configs.Item("A B")->Value(), "1");
}

TEST(Configurations, MissingItemRaisesThroughItsHandlerOrLogs) {
  Configurations configs;
  const Error error = FailureOf([&] { configs.Item("Nope"); });
  EXPECT_EQ(error.Number(), kLibraryError);
  EXPECT_EQ(error.Description(), "Configurations.Item: The configuration 'Nope' could not be found");
  auto log = std::make_shared<RecordingLogManager>();
  configs.SetLogManager(log);
  EXPECT_EQ(configs.Item("Nope"), nullptr);
  EXPECT_EQ(log->Matching("Configurations.Item: The configuration 'Nope'", "DevSvcErr").size(), 1u);
}

TEST(Configurations, ValueAsDateAndAsLeadingNumber) {
  Configurations configs;
  configs.Add("Start", "2026-03-05 14:30:00");
  configs.Add("Limit", " 12.5abc");
  configs.Add("Word", "soon");
  EXPECT_EQ(configs.Item("Start")->ValueDate(), *OleDate::FromCivil(2026, 3, 5, 14, 30));
  EXPECT_DOUBLE_EQ(configs.Item("Limit")->ValueNumeric(), 12.5);
  EXPECT_DOUBLE_EQ(configs.Item("Word")->ValueNumeric(), 0.0);
  EXPECT_EQ(FailureOf([&] { configs.Item("Word")->ValueDate(); }).Description(),
            "The value for key 'Word' could not be converted to a date");
}

TEST(Configurations, ServiceStatusAsksTheApplicationOnlyInServiceMode) {
  auto app = std::make_shared<FakeApplication>();
  Platform::Current().SetApplication(app);
  Configurations configs;
  EXPECT_EQ(configs.ServiceStatus(), 1);
  app->SetStatus(3);
  EXPECT_EQ(configs.ServiceStatus(), 0);
  configs.SetRunMode(ModeUnitTester);
  EXPECT_EQ(configs.ServiceStatus(), 1) << "test modes never look at the service";
  Platform::Current().SetApplication(nullptr);
}

TEST(ValidationRules, RulesAreStoredWithoutBlanksAndOverwrittenByKey) {
  ValidationRules rules;
  rules.Add("Limit", true, "1,2,3", "2", "the limit");
  rules.AddEx("limit", false, "", "5", "again", "Integer", true, "0", "9", "Spin");
  ASSERT_EQ(rules.Count(), 1);
  ValidationRuleRef rule = rules.Item("LIMIT");
  ASSERT_NE(rule, nullptr);
  EXPECT_EQ(rule->Key, "Limit");
  EXPECT_FALSE(rule->IsRequired);
  EXPECT_EQ(rule->DefaultValue, "5");
  EXPECT_EQ(rule->DataType, "Integer");
  EXPECT_TRUE(rule->IsRemote);
  EXPECT_EQ(rule->MaximumValue, "9");

  rules.Add("A B");
  EXPECT_NE(rules.Item("AB"), nullptr);
  EXPECT_FALSE(rules.Exists("A B"));
  EXPECT_EQ(rules.Item("A B"), nullptr) << "a missing rule is an empty reference, no error";
  const Error error = FailureOf([&] { rules.Add("A B"); });
  EXPECT_EQ(error.Number(), kErrDuplicateKey);
  EXPECT_EQ(error.Description().rfind("ValidationRules.Add: ", 0), 0u);
  auto fresh = std::make_shared<ValidationRule>();
  EXPECT_TRUE(fresh->IsRequired);
  EXPECT_EQ(fresh->DataType, "String");
}

}  // namespace
}  // namespace korad
