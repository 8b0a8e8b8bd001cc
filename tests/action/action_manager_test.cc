// ActionManager runs: the message dialect, configured defaults against message values,
// the attribute rules, the run state, the audit line, the logger and the action set
// from outside.
#include "action_fixture.h"
#include "platform/scripting_compatible_dictionary.h"
#include "support/error_number.h"
#include "support/scoped_time_zone.h"

namespace korad::testing {
namespace {

// The description of the Error a call raises; empty when it returns.
std::string RaisedText(const std::function<void()>& call) {
  try {
    call();
  } catch (const Error& e) {
    return e.Description();
  }
  return {};
}

TEST_F(ActionTest, EveryRowOfTheDialectLandsWhereItBelongs) {
  ScopedTimeZone zone("Europe/Berlin");  // dates must arrive as their universal twins
  auto keyData = MessageMap({{"Disk", Value("C:")}});
  keyData->AddDate("Seen", *OleDate::FromCivil(2026, 3, 5, 14, 30, 0), *OleDate::FromCivil(2026, 3, 5, 13, 30, 0));
  auto message = MessageMap({
      {"ACTION.Event", Value("d")},       {"ACTION.VariableMap", Value("d")}, {"action.AlertExpression", Value("d")},
      {"ACTION.Command", Value("ls -l")}, {"USER.Alerts", Value("d")}, {"USER.InitialResponseOccurrence", Value("d")},
      {"USER.LastResponseOccurrence", Value("d")}, {"USER.Name", Value("bob")},   {"User.Email", Value("b@x")},
      {"EVENT.KEYDATA", Value(ObjectRef(keyData))}, {"EVENT.Active", Value("d")}, {"EVENT.ClassID", Value("d")},
      {"EVENT.Open", Value("d")},             {"EVENT.SourceID", Value("d")},     {"EVENT.Type", Value("d")},
      {"EVENT.EventID", Value("d")},          {"EVENT.Moniker", Value("d")},      {"EVENT.Users", Value("d")},
      {"EVENT.Source", Value("Server1")}, {"EVENT.Class", Value("DiskFull")}, {"EVENT.SourceDescription", Value("Web")},
      {"EVENT.ClassDescription", Value("Disk full")}, {"EVENT.Severity", Value(int32_t{3})},
      {"OTHER.Thing", Value("d")},            {"NoPrefix", Value("d")},
  });
  message->AddDate("EVENT.InitialIncidentOccurrence", *OleDate::FromCivil(2026, 3, 5, 14, 30, 0),
                   *OleDate::FromCivil(2026, 3, 5, 13, 30, 0));
  const std::string xml = message->Xml();
  EXPECT_EQ(MakeManager()->PerformAction(xml), "done");

  Action& action = Seen();
  ActiveEvent& event = *action.ActiveEvent();
  EXPECT_EQ(action.RawEvent(), xml);
  EXPECT_EQ(Dump(*action.GetAttributes()), "Command=ls -l");
  EXPECT_EQ(Dump(*event.GetAttributes()), "Severity=3");
  EXPECT_EQ(Dump(*event.GetUser()->GetAttributes()), "Email=b@x");
  EXPECT_EQ(Dump(*action.AllAttributes()), "Severity=3;Command=ls -l;Email=b@x");
  EXPECT_EQ(event.Resource() + "|" + event.Condition() + "|" + event.ResourceDescription() + "|" +
                event.ConditionDescription() + "|" + event.GetUser()->Name() + "|" +
                event.InitialIncidentOccurrenceUniversal(),
            "Server1|DiskFull|Web|Disk full|bob|2026-03-05T13:30:00Z");
  ASSERT_EQ(event.KeyAttributes()->Keys(), (std::vector<std::string>{"Disk", "SeenUniversal"}));
  EXPECT_EQ(event.KeyAttributes()->Item("SeenUniversal").ToText(), "2026-03-05T13:30:00Z");
  EXPECT_TRUE(Logged("ActionManager.CreateAction: ").empty());
}

TEST_F(ActionTest, ConfiguredDefaultsStandInAllAttributesAndTheEngineKeysStayOut) {
  WriteIni("[TestActor]\nACTION.Command=configured\nTimeoutSeconds=60\nUSER.Role=admin\n");
  Actor().configRules = [](ValidationRules& rules) { rules.Add("TimeoutSeconds"); };
  MakeManager()->PerformAction(Message({{"ACTION.Command", Value("from message")},
                                        {"USER.Role", Value("guest")},
                                        {"ACTION.Drive", Value("C:")},
                                        {"EVENT.Drive", Value("D:")}}));

  Action& action = Seen();
  Attributes& all = *action.AllAttributes();
  EXPECT_EQ(Dump(*action.GetAttributes()), "Command=from message;Drive=C:");
  EXPECT_EQ(Dump(*action.ActiveEvent()->GetUser()->GetAttributes()), "Role=guest");
  // Configured values win, the event's come before the action's, and engine keys stay out.
  EXPECT_EQ(Dump(all), "Command=configured;Role=admin;Drive=D:");
  Configurations& configurations = *Actor().calls.back().configurations;
  EXPECT_EQ(configurations.Item("LogInfo")->Value(), "FALSE");
  EXPECT_EQ(configurations.Item("TimeoutSeconds")->Value(), "60");
  EXPECT_FALSE(Actor().calls.back().logManager->DetailLoggingOn());
}

TEST_F(ActionTest, AttributeRulesDecideTheRunAndOnlyTheServiceModeMarksNoRetry) {
  struct Case {
    const char* name;
    bool required;
    std::string defaultValue, validValues;
    std::optional<std::string> sent;
    std::string failure;  // empty: the actor runs
    std::string inAll;    // AllAttributes' Operation afterwards, when the actor ran
  };
  const std::vector<Case> cases = {
      {"required, absent", true, "", "", std::nullopt,
       "Could not find 'ACTION.Operation' attribute on action 'TestActor'", ""},
      {"required, default", true, "restart", "", std::nullopt, "", "restart"},
      {"optional, blank default", false, "", "start,stop", std::nullopt, "", ""},
      {"optional, bad default", false, "halt", "start,stop", std::nullopt,
       "Unacceptable value 'halt' for Key='ACTION.Operation',Action 'Fix' Valid Values: start,stop", ""},
      {"case and blanks", true, "", "start, Restart ", " restart", "", " restart"},
      {"not listed", true, "", "start,restart", "halt",
       "Unacceptable value 'halt' for Key='ACTION.Operation',Action 'Fix' Valid Values: start,restart", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    Actor().Reset();
    Actor().attrRules = [&](ValidationRules& rules) {
      rules.Add("ACTION.Operation", c.required, c.validValues, c.defaultValue);
    };
    std::vector<Entry> entries = {{"ACTION.Moniker", Value("Fix")}};
    if (c.sent) entries.push_back({"ACTION.Operation", Value(*c.sent)});
    const std::string raised = RaisedText([&] { MakeManager()->PerformAction(Message(entries)); });
    if (c.failure.empty()) {
      ASSERT_EQ(raised, "");
      ASSERT_EQ(Actor().calls.size(), 1u);
      EXPECT_EQ(Dump(*Seen().AllAttributes()), "Operation=" + c.inAll);
      continue;
    }
    EXPECT_TRUE(Actor().calls.empty());
    EXPECT_EQ(raised, "Cannot call PerformAction on KORADevServices.Test.TestActor due to a failed attribute "
                      "validation. Message was: " + c.failure + "%mvNoRetry%");
    // In a debug mode the failure is reported, without the marker, and nothing is raised.
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(RaisedText([&] { MakeManager(ModeDebug)->PerformAction(Message(entries)); }), "");
    const std::string shown = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(shown.find("ERROR: ActionManager.XML(Let): Cannot call PerformAction"), std::string::npos) << shown;
    EXPECT_EQ(shown.find("%mvNoRetry%"), std::string::npos) << shown;
  }
}

TEST_F(ActionTest, AFailedConfigurationValidationStopsTheRunBeforeTheActor) {
  Actor().configRules = [](ValidationRules& rules) { rules.Add("AllowedPrograms"); };
  EXPECT_EQ(RaisedText([&] { MakeManager()->PerformAction(Message({})); }),
            "Cannot call PerformAction on KORADevServices.Test.TestActor due to a failed configuration validation. "
            "Message was: Could not find 'AllowedPrograms' configuration for Resource 'TestActor'%mvNoRetry%");
  EXPECT_TRUE(Actor().calls.empty());
}

TEST_F(ActionTest, AStoppingAgentDropsTheActionAfterCreatingTheActor) {
  m_app->SetStatus(3);
  EXPECT_EQ(MakeManager()->PerformAction(Message({{"ACTION.Command", Value("ls")}})), "");
  EXPECT_EQ(Actor().instancesCreated, 1);
  EXPECT_TRUE(Actor().calls.empty());
  EXPECT_EQ(Logged("Action XML received").size(), 1u);
  EXPECT_TRUE(Logged("Verifying Action ClassID").empty());

  auto missing = MakeManager();
  missing->SetMyActorID("KORADevServices.Test.NoSuchActor");
  EXPECT_EQ(missing->PerformAction(Message({})), "");
  EXPECT_EQ(Logged("ERROR: ActionManager.CreateActorObjects: Could not create the actor "
                   "KORADevServices.Test.NoSuchActor. Please verify that the actor implements the IActor interface",
                   "DevSvcErr")
                .size(),
            1u);
}

TEST_F(ActionTest, TheAuditLineNamesTheEventAndLeavesOutThePlumbing) {
  const std::string xml = Message({
      {"EVENT.ClassDescription", Value("Disk full")}, {"EVENT.ActionMoniker", Value("CleanTemp")},
      {"USER.Name", Value("bob")},                    {"EVENT.MvSourceComputer", Value("HOST1")},
      {"EVENT.Severity", Value("3")},                 {"EVENT.ActionGUID", Value("g")},
      {"EVENT.LogLevel", Value("7")},                 {"EVENT.mvAnything", Value("m")},
      {"EVENT.Micros3700DB", Value("secret")},        {"EVENT.Drive", Value("C:")},
  });
  MakeManager()->PerformAction(xml);
  std::vector<LogLine> events = m_app->Writer().Lines();
  std::erase_if(events, [](const LogLine& line) { return line.kind != LogLine::Event; });
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text, "Disk full CleanTemp initiated by user bob from computer HOST1 (Severity=3, Drive=C:).");
  EXPECT_EQ(events[0].category, kTestActorClassId);
}

TEST_F(ActionTest, TheActorMayReplaceTheLoggerAndItsErrorsReachTheService) {
  auto manager = MakeManager();
  Actor().replaceLogger = true;
  manager->PerformAction(Message({}));
  const LogManagerRef replaced = manager->GetLogManager();
  EXPECT_NE(replaced, Actor().calls.back().logManager);
  EXPECT_EQ(Logged("completed successfully").size(), 1u);

  Actor().replaceLogger = false;
  Actor().raise = "the disk is gone%mvNoRetry%";
  EXPECT_EQ(RaisedText([&] { manager->PerformAction(Message({})); }), "the disk is gone%mvNoRetry%");
  EXPECT_EQ(NumberOf([&] { manager->PerformAction(Message({})); }), kLibraryError);
  EXPECT_EQ(Actor().calls.back().logManager, replaced);
  EXPECT_EQ(Actor().calls.back().action->GetAttributes()->Parent(), nullptr) << "finalised after a failed run";
  EXPECT_EQ(Actor().instancesCreated, 1);
}

TEST_F(ActionTest, AnActionSetFromOutsideIsUsedAndStaysSetFinalised) {
  auto manager = MakeManager();
  auto preset = CreateObjectAs<Action>(Action::kClassId);
  preset->GetAttributes()->Add("Preset", Value("1"));
  manager->SetAction(preset);
  EXPECT_EQ(manager->PerformAction(""), "done");
  EXPECT_EQ(&Seen(), preset.get());
  EXPECT_EQ(Dump(*preset->AllAttributes()), "Preset=1");
  EXPECT_EQ(manager->GetAction(), preset);
  EXPECT_EQ(preset->GetAttributes()->Parent(), nullptr);

  manager->RunSampleAction();
  Action& sample = Seen();
  EXPECT_NE(&sample, preset.get());
  EXPECT_EQ(sample.Moniker(), "SampleAction");
  EXPECT_EQ(sample.ActiveEvent()->GetUser()->Name(), "Sample User");
  EXPECT_EQ(Dump(*sample.AllAttributes()),
            "SampleEventAttrKey=SampleEventAttrVal;SampleActionAttrKey=SampleActionAttrVal");
  EXPECT_FALSE(sample.ActiveEvent()->LastResponseOccurrenceUniversal().empty());

  manager->GetAction()->SetActiveEvent(nullptr);  // an error, not a crash
  EXPECT_EQ(NumberOf([&] { manager->PerformAction(""); }), kErrObjectRequired);
}

}  // namespace
}  // namespace korad::testing
