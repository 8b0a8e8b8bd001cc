// A monitor driven as the engine drives it: rules declared once, each configuration
// validated against them (which fills the defaults), then one GetIncident per run into
// a form collection of its own, so a test sees exactly what the run reported. The
// state survives between runs, as the engine keeps it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/module_config_reader.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "incident/incident_state.h"
#include "support/fake_clock.h"
#include "support/fake_system_facts.h"
#include "support/recording_log.h"

namespace korad::testing {

inline constexpr std::string_view kMoniker = "Check1";

class MonitorFixture : public ::testing::Test {
 protected:
  using Keys = std::vector<std::pair<std::string, std::string>>;

  MonitorFixture() { state->SetConfigMoniker(kMoniker); }

  // Makes the monitor, asks for its rules and applies them to a section holding `keys`.
  // The validation's error text, empty when the section passes.
  template <class M>
  std::string Configure(const Keys& keys) {
    monitor = std::make_shared<M>();
    rules = std::make_shared<ValidationRules>();
    monitor->SetValidationRules(rules);
    configurations = std::make_shared<Configurations>();
    configurations->SetConfigMoniker(kMoniker);
    for (const auto& [key, value] : keys) configurations->Add(key, value);
    std::string errorText;
    ValidateConfigurations(*configurations, *rules, errorText);
    return errorText;
  }

  // One run: the forms of the problems that hold (AlertOn). The forms of watched problems
  // that don't hold (AlertOff) are in Cleared().
  std::vector<IncidentFormRef> Run() {
    forms = std::make_shared<IncidentForms>();
    forms->SetLogManager(log);
    forms->SetConfigMoniker(kMoniker);
    LogManagerRef logManager = log;
    monitor->GetIncident(forms, state, configurations, logManager);
    std::vector<IncidentFormRef> holding;
    for (const IncidentFormRef& form : forms->AllForms()) {
      EXPECT_TRUE(form->AlertStatus() == AlertOn || form->AlertStatus() == AlertOff) << form->Condition();
      if (form->AlertStatus() == AlertOn) holding.push_back(form);
    }
    return holding;
  }
  // "resource: condition" of each problem the last run said doesn't hold, in order.
  std::vector<std::string> Cleared() const {
    std::vector<std::string> cleared;
    for (const IncidentFormRef& form : forms->AllForms()) {
      if (form->AlertStatus() == AlertOff) cleared.push_back(form->Resource() + ": " + form->Condition());
    }
    return cleared;
  }

  // The value of a form's attribute as text; "<none>" when it has no such attribute.
  static std::string Attribute(const IncidentFormRef& form, std::string_view name) {
    if (!form->GetAttributes()->Exists(name)) return "<none>";
    return form->GetAttributes()->Item(Value(name))->Value().ToText();
  }

  // The error a run raises (the engine records it as the configuration's error).
  std::string RunError() {
    try {
      Run();
    } catch (const Error& e) {
      return e.Description();
    }
    return {};
  }

  std::shared_ptr<IMonitor> monitor;
  std::shared_ptr<ValidationRules> rules;
  std::shared_ptr<Configurations> configurations;
  std::shared_ptr<IncidentForms> forms;
  std::shared_ptr<IncidentState> state = std::make_shared<IncidentState>();
  std::shared_ptr<RecordingLogManager> log = std::make_shared<RecordingLogManager>();
  std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
  ScopedPlatformClock scopedClock{clock};
  ScopedSystemFacts facts;
};

}  // namespace korad::testing
