// A form's life through the engine, pass by pass: the alert and resolve delays, updates,
// acknowledgements, the mode configurations ("STATE", "NOSTATE"), filters, a failed send,
// two configurations reporting one incident, a restart in the middle of a delay, and what
// goes on the queue.
#include <filesystem>
#include <string>
#include <vector>

#include "incident/tracked_objects.h"
#include "monitor/monitor_fixture.h"

namespace korad::testing {
namespace {

using Conditions = std::vector<std::string>;

// The field `name` of a unit tester's incident text ("Resource=..;Condition=..;...").
std::string Field(const std::string& text, const std::string& name) {
  for (size_t at = 0; (at = text.find(name + "=", at)) != std::string::npos; at += name.size()) {
    if (at > 0 && text[at - 1] != ';') continue;
    const size_t start = at + name.size() + 1;
    return text.substr(start, text.find(';', start) - start);
  }
  return "<missing>";
}

std::string ClassOf(const std::string& body) {
  auto forms = std::make_shared<IncidentForms>();
  EXPECT_TRUE(forms->CreateFormFromString(body, "test"));
  return forms->Count() == 1 ? forms->Item(1)->Condition() : "<unreadable>";
}

class FormLifeTest : public MonitorTest {
 protected:
  static std::string Config(const std::string& name, const std::string& extra = {}) {
    return "[" + name + "]\r\nmvFrequency=60\r\nmvFrequencyUnits=SECONDS\r\n" + extra;
  }
  void Start(const std::string& ini, RunMode mode = ModeUnitTester) {
    WriteIni(ini);
    m_manager = MakeManager(mode);
    if (mode == ModeUnitTester) m_manager->SetIncidentCollection(std::make_shared<std::vector<std::string>>());
  }
  // One pass a frequency after the last: the conditions it sent (the unit tester: would send).
  Conditions Pass() {
    if (m_passes++ > 0) Advance(60);
    const size_t before = QueuedIncidents().size();
    m_manager->Monitor();
    Conditions conditions;
    if (m_manager->RunMode() == ModeUnitTester) {
      for (const std::string& text : *m_manager->IncidentCollection()) conditions.push_back(Field(text, "Condition"));
    } else {
      const std::vector<std::string> all = QueuedIncidents();
      for (size_t i = before; i < all.size(); ++i) conditions.push_back(ClassOf(all[i]));
    }
    return conditions;
  }
  void Report(const std::string& moniker, AlertStatusEnum status = AlertOn,
              std::vector<std::pair<std::string, std::string>> attributes = {}) {
    Script().For(moniker).reports = {{"Server1", "CpuHigh", status, std::move(attributes)}};
  }
  // The plug-in marks what it measures as relevant: a changed value is an update.
  void MarkAttributesRelevant() {
    Script().hook = [](IncidentForms& forms, IncidentState&, Configurations&) {
      for (const IncidentFormRef& form : forms.CurrentForms()) {
        for (const AttributeRef& attribute : *form->GetAttributes()) attribute->SetRelevantToUpdates(true);
      }
    };
  }

  std::shared_ptr<MonitorManager> m_manager;
  int m_passes = 0;
};

TEST_F(FormLifeTest, DelaysCountInPassesAndAProblemGoneBeforeItsAlertIsNeverReported) {
  Start(Config("CPU", "mvWaitAlert=3\r\nmvWaitResolve=3\r\n") + Config("Brief", "mvWaitAlert=3\r\n") + Config("Now"),
        ModeMorvane);
  Report("CPU");
  Report("Brief");
  Script().For("Now").reports = {{"Server2", "DiskFull"}};
  EXPECT_EQ(Pass(), Conditions{"DiskFull"}) << "without a delay the alert goes on the first pass";
  EXPECT_EQ(Pass(), Conditions{}) << "steady: nothing to say";
  Report("Brief", AlertOff);
  Script().For("Now").reports = {{"Server2", "DiskFull", AlertOff}};
  EXPECT_EQ(Pass(), Conditions{"DiskFull(Resolved)"}) << "and the resolve on the first miss";
  EXPECT_EQ(Matching("An off was sent before MVSendAlertPolls had completely decremented.  Event will be thrown out.")
                .size(),
            1u) << "Brief went away before its alert";
  Report("Brief");
  Script().For("Now").reports.clear();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"}) << "three passes held back, the fourth alerts; Brief starts afresh";
  Report("CPU", AlertOff);
  Report("Brief", AlertOff);
  EXPECT_EQ(Pass(), Conditions{}) << "miss 1";
  Script().For("Brief").reports.clear();
  for (int miss = 2; miss <= 3; ++miss) EXPECT_EQ(Pass(), Conditions{}) << "miss " << miss;
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"});
  EXPECT_EQ(Pass(), Conditions{}) << "the form is gone";
  EXPECT_EQ(Matching("An off was sent before MVSendAlertPolls had completely decremented.").size(), 2u);
  EXPECT_EQ(Matching("Decrementing MVSendAlertPolls").size(), 6u);
  EXPECT_EQ(Matching("Decrementing MVResolveAlertPolls").size(), 3u);
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(FormLifeTest, BackOnDuringTheResolveWaitCancelsTheResolveOnlyWithAChange) {
  Start(Config("CPU", "mvWaitResolve=2\r\n"));
  MarkAttributesRelevant();
  Report("CPU", AlertOn, {{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  Report("CPU", AlertOff);
  EXPECT_EQ(Pass(), Conditions{}) << "the wait: two more misses";
  Report("CPU", AlertOn, {{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{}) << "back on unchanged: the wait stands";
  Report("CPU", AlertOff);
  EXPECT_EQ(Pass(), Conditions{});
  Report("CPU", AlertOn, {{"Load", "97"}});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Updated)"}) << "back on with a change: the wait is cancelled";
  Report("CPU", AlertOff);
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"}) << "a new wait of two misses";
}

TEST_F(FormLifeTest, UpdatesAcknowledgementsAndTheAttributesEveryIncidentCarries) {
  Start(Config("CPU") + Config("Disk"));
  MarkAttributesRelevant();
  Report("CPU", AlertOn, {{"Load", "91"}, {"mvSourceComputer", "CORP\\web01"}, {"Ack", "FALSE"}, {"AckUser", "ops"}});
  Script().For("Disk").reports = {
      {"Server1", "DiskFull", AlertOn, {{"Used", "91"}, {"mvNoUpdate", "1"}, {"Ack", "false"}, {"AckUser", "ops"}}}};
  EXPECT_EQ(Pass(), (Conditions{"CpuHigh", "DiskFull"}));
  const auto& texts = *m_manager->IncidentCollection();
  EXPECT_EQ(Field(texts[0], "mvDomain"), "CORP");
  EXPECT_EQ(Field(texts[0], "mvComputer"), "web01");
  EXPECT_EQ(Field(texts[0], "mvConfigurationID"), "CPU");
  EXPECT_EQ(Field(texts[0], "mvEntityID"), "0");
  EXPECT_EQ(Field(texts[0], "mvModule"), kModule);
  EXPECT_EQ(Field(texts[0], "mvGUID").size(), 38u);
  EXPECT_EQ(Field(texts[0], "Ack"), "<missing>") << "\"FALSE\", exactly, takes an acknowledgement back";
  EXPECT_EQ(Field(texts[0], "AckUser"), "<missing>");
  EXPECT_EQ(Field(texts[1], "Ack"), "false");
  EXPECT_EQ(Field(texts[1], "AckUser"), "ops");
  EXPECT_EQ(Field(texts[1], "mvDomain"), "<missing>");
  EXPECT_EQ(Field(texts[1], "mvComputer"), "<missing>");
  EXPECT_EQ(Field(texts[1], "Priority"), "0") << "the tester's text always names the priority";

  Report("CPU", AlertOn, {{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{});
  Report("CPU", AlertOn, {{"Load", "97"}});
  Script().For("Disk").reports = {{"Server1", "DiskFull", AlertOn, {{"Used", "97"}, {"mvNoUpdate", "1"}}}};
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Updated)"}) << "mvNoUpdate: never an update";
  EXPECT_EQ(Pass(), Conditions{}) << "the same values again are no update";
}

TEST_F(FormLifeTest, ModeConfigurationsReportUnderTheirOwnConditions) {
  Start(Config("NoState", "mvSingle=nostate\r\nmvResCond=AllClear\r\n") +
            Config("WithCond", "mvSingle=STATE\r\nmvResCond=AllClear\r\nmvUpdCond=Changed\r\n") +
            Config("Without", "mvSingle=STATE\r\n"),
        ModeMorvane);
  MarkAttributesRelevant();
  Script().For("NoState").reports = {{"Server0", "CpuHigh"}};
  Script().For("WithCond").reports = {{"Server1", "CpuHigh", AlertOn, {{"Load", "91"}}}};
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOn, {{"Load", "91"}}}};
  EXPECT_EQ(Pass(), (Conditions{"CpuHigh", "CpuHigh", "CpuHigh"}));
  Script().For("WithCond").reports = {{"Server1", "CpuHigh", AlertOn, {{"Load", "97"}}}};
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOn, {{"Load", "97"}}}};
  EXPECT_EQ(Pass(), (Conditions{"CpuHigh", "Changed"})) << "no memory: sent again; no mvUpdCond: no update";
  Script().For("NoState").reports = {{"Server0", "CpuHigh", AlertOff}};
  Script().For("WithCond").reports = {{"Server1", "CpuHigh", AlertOff}};
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOff}};
  EXPECT_EQ(Pass(), (Conditions{"AllClear", "AllClear"})) << "a resolve without mvResCond isn't reported";
  EXPECT_EQ(Matching("Will not set IncidentString based on instructions not to set").size(), 2u);
  Script().For("NoState").reports.clear();
  EXPECT_EQ(Pass(), Conditions{}) << "and nothing stays open";
}

TEST_F(FormLifeTest, AFilterWithRemoveUnmatchedDropsTheOtherFormsForGood) {
  Start(Config("CPU", "mvFilter=Resource=Server1\r\n"));
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}, {"Server2", "CpuHigh"}};
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  EXPECT_EQ(Field(m_manager->IncidentCollection()->at(0), "Resource"), "Server1");
  Report("CPU", AlertOff);
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"}) << "Server2's form was removed, not hidden";
}

TEST_F(FormLifeTest, AFailedSendIsRetriedAsAFirstAlert) {
  // The queue's folder is a file: the connector can't write.
  std::filesystem::create_directories(m_home / "Connectors");
  WriteWholeFile(m_home / "Connectors/MvRouterQ", "in the way");
  Start(Config("CPU"), ModeMorvane);
  Report("CPU", AlertOn, {{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Matching("MonitorManager.SendIncidentData: ").size(), 1u);
  const std::shared_ptr<IncidentForms> saved = LoadForms();
  ASSERT_EQ(saved->Count(), 1);
  EXPECT_FALSE(saved->Item(1)->ProcessedByMM());
  EXPECT_EQ(saved->Item(1)->MVSendAlertPolls(), 0);

  std::filesystem::remove(m_home / "Connectors/MvRouterQ");
  Script().For("CPU").reports.clear();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"}) << "a first alert, never an update";
  EXPECT_EQ(Pass(), Conditions{});
}

TEST_F(FormLifeTest, OneIncidentOfTwoConfigurationsGoesOutOnceUnlessTheOtherStillWaits) {
  Start(Config("First") + Config("Second") + Config("Delayed", "mvWaitAlert=5\r\n") + Config("Immediate"),
        ModeMorvane);
  for (const char* moniker : {"First", "Second", "Delayed", "Immediate"}) Report(moniker);
  Script().For("Delayed").reports = {{"Server2", "CpuHigh"}};
  Script().For("Immediate").reports = {{"Server2", "CpuHigh"}};
  EXPECT_EQ(Pass(), (Conditions{"CpuHigh", "CpuHigh"})) << "Server1 once; Server2 though Delayed has it";
  EXPECT_EQ(Matching("Second skipping sending of incident; configuration First has it open").size(), 1u);
  EXPECT_EQ(Matching("has it open").size(), 1u);
  EXPECT_EQ(Pass(), Conditions{});
}

TEST_F(FormLifeTest, AFormOfAMonikerThatDiffersInCaseIsAnotherConfigurations) {
  Start(Config("CPU"), ModeMorvane);
  Pass();
  auto forms = std::make_shared<IncidentForms>();
  forms->SetConfigMoniker("cpu");
  const IncidentFormRef open = forms->Add("Server1", "CpuHigh");
  open->SetAlertStatus(AlertOn);
  open->SetProcessedByMM(true);
  open->SetMVSendAlertPolls(-1);
  open->SetOccurrenceTimeUTC(m_clock->UtcNow());
  forms->SetConfigMoniker("CPU");
  forms->Add("Server1", "CpuHigh")->SetAlertStatus(AlertOn);
  std::shared_ptr<Configurations> noConfigurations;
  MonitorManagerTestPeer(*m_manager).SetIncidents(forms, {Value("CPU")}, noConfigurations);
  EXPECT_TRUE(QueuedIncidents().empty());
  EXPECT_EQ(Matching("CPU skipping sending of incident; configuration cpu has it open").size(), 1u);
}

TEST_F(FormLifeTest, ARestartedManagerCountsOnAHalfCountedDelay) {
  Start(Config("CPU", "mvWaitAlert=3\r\n"), ModeMorvane);
  Report("CPU");
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{});

  m_manager = MakeManager(ModeMorvane);  // the agent restarted: same home, new instance
  // The reloaded form is stamped with the load's time; the plug-in's report comes later.
  Script().For("CPU").reports.clear();
  Script().hook = [this](IncidentForms& forms, IncidentState&, Configurations&) {
    Advance(0.25);
    forms.Add("Server1", "CpuHigh")->SetAlertStatus(AlertOn);
  };
  EXPECT_EQ(Pass(), Conditions{}) << "pass 3 of the delay";
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"}) << "pass 4 sends";
}

TEST_F(FormLifeTest, QueuedMessagesCarryTheirQueueTimeToLiveAndPriority) {
  Start(Config("CPU", "mvEntityID=77\r\n"), ModeMorvane);
  m_manager->SetMyEntityID("4711");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}, {"Agent", "SystemHeartbeatOn"}};
  Script().hook = [](IncidentForms& forms, IncidentState&, Configurations&) {
    const auto object = forms.GetTrackedObjects()->Add("Server1", "/var", "Mount");
    object->Properties()->Add("FreePercent", Value("12 & <low>"));
  };
  m_manager->Monitor();
  const std::vector<ConnectorMessage> messages = QueuedMessages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].TargetQueue(), kDataCollectionQueue) << "sent before the forms";
  EXPECT_EQ(messages[0].TimeToLive(), 1209600);
  EXPECT_EQ(messages[0].EntityId(), 4711);
  EXPECT_EQ(messages[0].Body().rfind("***mvStartDataCollection***<Resources>", 0), 0u);
  EXPECT_NE(messages[0].Body().find("RefEntity=\"77\""), std::string::npos);
  EXPECT_NE(messages[0].Body().find("12 &amp; &lt;low&gt;"), std::string::npos);
  EXPECT_TRUE(messages[0].Body().ends_with("</Resources>\r\n***mvEndDataCollection***"));
  EXPECT_EQ(messages[1].TargetQueue(), kIncidentQueue);
  EXPECT_EQ(ClassOf(messages[1].Body()), "CpuHigh");
  EXPECT_EQ(messages[1].TimeToLive(), 1209600);
  EXPECT_EQ(messages[1].Priority(), 0);
  EXPECT_EQ(messages[1].EntityId(), 4711);
  EXPECT_EQ(ClassOf(messages[2].Body()), "SystemHeartbeatOn");
  EXPECT_EQ(messages[2].TimeToLive(), 1200);
  EXPECT_EQ(messages[2].Priority(), -2);
  std::vector<std::string> audit;
  for (const LogLine& line : Lines()) {
    if (line.kind == LogLine::Info) audit.push_back(line.text + " [" + line.category + "]");
  }
  EXPECT_EQ(audit, (std::vector<std::string>{"Sending Server1;CpuHigh because it started [TestModule]",
                                              "Sending Agent;SystemHeartbeatOn because it started [TestModule]"}));
}

}  // namespace
}  // namespace korad::testing
