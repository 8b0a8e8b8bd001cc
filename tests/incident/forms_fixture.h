// A monitor's form collection as the engine holds it: a log manager that records, and a
// fake clock two hours east of UTC, so that local and universal times differ.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contracts/error.h"
#include "incident/incident_forms.h"
#include "support/fake_clock.h"
#include "support/recording_log.h"

namespace korad::testing {

// The description an Error carries; fails the test if the call raises none.
inline std::string RaisedDescription(const std::function<void()>& call, int32_t number = kLibraryError) {
  try {
    call();
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), number) << e.Description();
    return e.Description();
  }
  ADD_FAILURE() << "no error raised";
  return {};
}

// Times that passed through local time may differ in the last bit.
inline void ExpectSameTime(OleDate actual, OleDate expected) {
  EXPECT_NEAR(actual.SecondsUntil(expected), 0.0, 0.001) << FormatDate(actual) << " vs " << FormatDate(expected);
}

class FormsFixture : public ::testing::Test {
 protected:
  FormsFixture() : clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 120)) {
    forms->SetLogManager(log);
    forms->SetConfigMoniker("DiskSpace");
  }

  // One report of a pass: a minute after the one before, with "x:=y" attributes.
  IncidentFormRef Report(std::string_view resource, std::string_view condition, AlertStatusEnum status,
                         std::vector<Value> attributes = {}) {
    clock->Advance(60);
    IncidentFormRef form = forms->Add(resource, condition, attributes);
    EXPECT_NE(form, nullptr) << "report of " << resource << ":" << condition;
    if (form) form->SetAlertStatus(status);
    return form;
  }

  // What the engine does to a form it has sent.
  static void MarkSent(const IncidentFormRef& form) {
    form->SetProcessedByMM(true);
    form->ResetUpdateOccurred();
  }

  std::vector<std::string> Texts(std::string_view category) const {
    std::vector<std::string> texts;
    for (const LogLine& line : log->Lines()) {
      if (line.category == category) texts.push_back(line.text);
    }
    return texts;
  }

  ScopedPlatformClock clock;
  std::shared_ptr<RecordingLogManager> log = std::make_shared<RecordingLogManager>();
  IncidentFormsRef forms = std::make_shared<IncidentForms>();
};

}  // namespace korad::testing
