// A temporary agent home for koradctl's tests: the platform's home and a fake clock set
// for the test, messages put on the outbound queue the way a monitor puts them, and the
// program run as a function with its output captured.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "contracts/ole_date.h"
#include "ctl_options.h"
#include "ctl_program.h"
#include "foundation/attributes.h"
#include "incident/incident_form.h"
#include "incident/incident_object_builder.h"
#include "platform/connector.h"
#include "platform/connector_directory.h"
#include "platform/connector_message.h"
#include "platform/platform.h"
#include "support/fake_clock.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::ctl::testing {

using korad::testing::FakeApplication;
using korad::testing::FakeClock;
using korad::testing::ScopedPlatformClock;
using korad::testing::TempHome;

struct RunResult {
  int code = -1;
  std::string out;
  std::string err;
};

// What a monitor reports: a form with its key attributes.
struct Report {
  std::string resource = "web01";
  std::string condition = "CPUHigh";
  int32_t alertStatus = AlertOn;
  bool updated = false;
  int16_t priority = 3;
  std::vector<std::pair<std::string, std::string>> attributes = {{"Drive", "C:"}, {"mvModule", "CPUMon"}};
  std::string keyAttributes = "Drive";
};

class CtlTest : public ::testing::Test {
 protected:
  static constexpr int32_t kIncidentTimeToLive = 1209600;

  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    Platform::Current().SetApplication(std::make_shared<FakeApplication>(m_home.Path()));
  }
  void TearDown() override { Platform::Current().SetApplication(nullptr); }

  // The program with --home of the test's home in front of `args`.
  RunResult Run(std::vector<std::string> args, const std::string& input = {}) {
    args.insert(args.begin(), {"--home", m_home.Path()});
    return RunRaw(args, input);
  }
  RunResult RunRaw(const std::vector<std::string>& args, const std::string& input = {}) {
    std::istringstream in(input);
    std::ostringstream out, err;
    RunResult result;
    result.code = RunKoradctl(args, in, out, err, m_stop);
    result.out = out.str();
    result.err = err.str();
    return result;
  }

  static std::shared_ptr<Connector> Queue(std::string_view id) { return ConnectorDirectory().GetConnector(id); }

  // The incident string a monitor makes of a report, in the object map form.
  static std::string IncidentString(const Report& report, OleDate occurrenceUtc) {
    IncidentFormRef form = IncidentForm::Create();
    form->SetResource(report.resource);
    form->SetCondition(report.condition);
    form->SetPriority(report.priority);
    form->SetKeyAttributes(report.keyAttributes);
    form->SetOccurrenceTimeUTC(occurrenceUtc);
    for (const auto& [key, value] : report.attributes) form->GetAttributes()->Add(key, Value(value));
    form->SetAlertStatus(report.alertStatus);
    form->ResetUpdateOccurred();
    if (report.updated) form->SetPriority(static_cast<int16_t>(report.priority + 1));
    std::string text = CreateIncidentObject(*form, 0, "", "").Text();
    form->Finalize();
    return text;
  }

  // Sends an incident on the outbound queue as SendIncidentData does.
  std::string SendIncident(const std::string& incidentString) {
    ConnectorMessage message;
    message.SetBody(incidentString);
    message.SetTimeToLive(kIncidentTimeToLive);
    message.SetPriority(0);
    message.SetEntityId(42);
    message.SetTargetQueue("mvIncidentQ");
    return Queue("MvRouterQ")->Send(message);
  }
  std::string SendIncident(const Report& report) { return SendIncident(IncidentString(report, m_clock->UtcNow())); }

  // Sends tracked-object data on the outbound queue as SendDataCollection does.
  std::string SendDataCollection(const std::string& xml) {
    ConnectorMessage message;
    message.SetBody("***mvStartDataCollection***" + xml + "***mvEndDataCollection***");
    message.SetTimeToLive(kIncidentTimeToLive);
    message.SetEntityId(42);
    message.SetTargetQueue("MvDataCollectionQ");
    return Queue("MvRouterQ")->Send(message);
  }

  // The lines of a text, without their ends.
  static std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }

  TempHome m_home;
  ScopedPlatformClock m_clock{std::make_shared<FakeClock>(FakeClock::DefaultStart(), 120)};
  std::atomic<bool> m_stop{false};
};

}  // namespace korad::ctl::testing
