// A form's life through the engine, pass by pass: the alert and resolve delays, updates,
// acknowledgements, the mode configurations ("STATE", "NOSTATE"), filters, a failed send,
// two configurations reporting one incident, a restart in the middle of a delay, tracked
// objects on their queue, and the agent monitor closing a removed configuration's events.
#include <filesystem>
#include <string>
#include <vector>

#include "incident/tracked_objects.h"
#include "monitor/agent_monitor.h"
#include "monitor/monitor_fixture.h"
#include "platform/profile.h"

namespace korad::testing {
namespace {

constexpr double kFrequency = 60;

// The field `name` of a unit tester's incident text ("Resource=..;Condition=..;...").
std::string Field(const std::string& text, const std::string& name) {
  const std::string head = name + "=";
  size_t at = 0;
  while ((at = text.find(head, at)) != std::string::npos) {
    if (at == 0 || text[at - 1] == ';') {
      const size_t start = at + head.size();
      return text.substr(start, text.find(';', start) - start);
    }
    at += head.size();
  }
  return "<missing>";
}

class IncidentDecisionTest : public MonitorTest {
 protected:
  static std::string Config(const std::string& name, const std::string& extra = {}) {
    return "[" + name + "]\r\nmvFrequency=60\r\nmvFrequencyUnits=SECONDS\r\n" + extra;
  }

  // A manager on `ini` in `mode`; its first pass runs at once.
  void Start(const std::string& ini, RunMode mode = ModeUnitTester) {
    WriteIni(ini);
    m_manager = MakeManager(mode);
    if (mode == ModeUnitTester) m_manager->SetIncidentCollection(std::make_shared<std::vector<std::string>>());
  }
  // One pass: the conditions of the incidents it sent (the unit tester: would send).
  std::vector<std::string> Pass() {
    if (m_manager->RunMode() != ModeUnitTester) return QueuedClasses();
    if (m_passes++ > 0) Advance(kFrequency);
    m_manager->Monitor();
    std::vector<std::string> conditions;
    if (const auto& collected = m_manager->IncidentCollection()) {
      for (const std::string& text : *collected) conditions.push_back(Field(text, "Condition"));
    }
    return conditions;
  }
  using Conditions = std::vector<std::string>;

  // A ModeMorvane pass: the incident bodies queued by it.
  std::vector<std::string> QueuedPass() {
    const size_t before = QueuedIncidents().size();
    if (m_passes++ > 0) Advance(kFrequency);
    m_manager->Monitor();
    std::vector<std::string> all = QueuedIncidents();
    return std::vector<std::string>(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
  }
  static std::string ClassOf(const std::string& body) {
    auto forms = std::make_shared<IncidentForms>();
    EXPECT_TRUE(forms->CreateFormFromString(body, "test"));
    return forms->Count() == 1 ? forms->Item(1)->Condition() : "<unreadable>";
  }
  std::vector<std::string> QueuedClasses() {
    std::vector<std::string> classes;
    for (const std::string& body : QueuedPass()) classes.push_back(ClassOf(body));
    return classes;
  }

  void ReportCpuHigh(std::vector<std::pair<std::string, std::string>> attributes = {},
                     const std::string& moniker = "CPU") {
    Script().For(moniker).reports = {{"Server1", "CpuHigh", AlertOn, std::move(attributes)}};
  }
  // The plug-in sees the problem gone and says so.
  // The plug-in marks what it measures as relevant: a changed value is an update.
  void MarkAttributesRelevant() {
    Script().hook = [](IncidentForms& forms, IncidentState&, Configurations&) {
      for (const IncidentFormRef& form : forms.CurrentForms()) {
        for (const AttributeRef& attribute : *form->GetAttributes()) attribute->SetRelevantToUpdates(true);
      }
    };
  }
  void Clear(const std::string& moniker = "CPU") {
    Script().For(moniker).reports = {{"Server1", "CpuHigh", AlertOff}};
  }

  std::shared_ptr<MonitorManager> m_manager;
  int m_passes = 0;
};

TEST_F(IncidentDecisionTest, WithoutDelaysTheAlertGoesOnTheFirstPassAndTheResolveOnTheFirstMiss) {
  Start(Config("CPU"));
  ReportCpuHigh();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  EXPECT_EQ(Pass(), Conditions{}) << "steady: nothing to say";
  Clear();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"});
  EXPECT_EQ(Pass(), Conditions{}) << "the form is gone";
  EXPECT_TRUE(ErrorLines().empty());
}

TEST_F(IncidentDecisionTest, ThreePassDelaysAlertOnPassFourAndResolveOnTheFourthMiss) {
  Start(Config("CPU", "mvWaitAlert=3\r\nmvWaitResolve=3\r\n"), ModeMorvane);
  ReportCpuHigh();
  for (int pass = 1; pass <= 3; ++pass) EXPECT_EQ(Pass(), Conditions{}) << "pass " << pass;
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  EXPECT_EQ(Pass(), Conditions{});
  Clear();
  for (int miss = 1; miss <= 3; ++miss) EXPECT_EQ(Pass(), Conditions{}) << "miss " << miss;
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"});
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Matching("Decrementing MVSendAlertPolls").size(), 3u);
  EXPECT_EQ(Matching("Decrementing MVResolveAlertPolls").size(), 3u);
}

TEST_F(IncidentDecisionTest, AProblemGoneBeforeItsAlertIsNeverReported) {
  Start(Config("CPU", "mvWaitAlert=3\r\n"), ModeMorvane);
  ReportCpuHigh();
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{});
  Clear();
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Matching("An off was sent before MVSendAlertPolls had completely decremented.  Event will be thrown out.")
                .size(),
            1u);
  ReportCpuHigh();
  EXPECT_EQ(Pass(), Conditions{}) << "a new form starts its delay afresh";
}

TEST_F(IncidentDecisionTest, BackOnDuringTheResolveWaitCancelsTheResolveOnlyWithAChange) {
  Start(Config("CPU", "mvWaitResolve=2\r\n"));
  MarkAttributesRelevant();
  ReportCpuHigh({{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  Clear();
  EXPECT_EQ(Pass(), Conditions{}) << "the wait: two more misses";
  ReportCpuHigh({{"Load", "91"}});
  EXPECT_EQ(Pass(), Conditions{}) << "back on unchanged: the wait stands";
  Clear();
  EXPECT_EQ(Pass(), Conditions{});
  ReportCpuHigh({{"Load", "97"}});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Updated)"}) << "back on with a change: the wait is cancelled";
  Clear();
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"}) << "a new wait of two misses";
}

TEST_F(IncidentDecisionTest, ChangedAttributesAreAnUpdateUnlessTheFormSaysNoUpdate) {
  Start(Config("CPU") + Config("Disk"));
  MarkAttributesRelevant();
  ReportCpuHigh({{"Load", "91"}});
  Script().For("Disk").reports = {{"Server1", "DiskFull", AlertOn, {{"Used", "91"}, {"mvNoUpdate", "1"}}}};
  EXPECT_EQ(Pass(), (Conditions{"CpuHigh", "DiskFull"}));
  EXPECT_EQ(Pass(), Conditions{});
  ReportCpuHigh({{"Load", "97"}});
  Script().For("Disk").reports = {{"Server1", "DiskFull", AlertOn, {{"Used", "97"}, {"mvNoUpdate", "1"}}}};
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Updated)"});
  EXPECT_EQ(Pass(), Conditions{}) << "the same values again are no update";
}

TEST_F(IncidentDecisionTest, EveryIncidentCarriesTheEngineAttributesAndTheComputerSplit) {
  Start(Config("CPU") + Config("Disk"));
  ReportCpuHigh({{"mvSourceComputer", "CORP\\web01"}});
  Script().For("Disk").reports = {{"Server1", "DiskFull", AlertOn, {{"mvSourceComputer", "web02"}}}};
  Pass();
  const auto& texts = *m_manager->IncidentCollection();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(Field(texts[0], "mvDomain"), "CORP");
  EXPECT_EQ(Field(texts[0], "mvComputer"), "web01");
  EXPECT_EQ(Field(texts[0], "mvConfigurationID"), "CPU");
  EXPECT_EQ(Field(texts[0], "mvEntityID"), "0");
  EXPECT_EQ(Field(texts[0], "mvModule"), kModule);
  EXPECT_EQ(Field(texts[0], "mvGUID").size(), 38u);
  EXPECT_EQ(Field(texts[1], "mvDomain"), "<missing>");
  EXPECT_EQ(Field(texts[1], "mvComputer"), "<missing>");
  EXPECT_EQ(Field(texts[1], "Priority"), "0") << "the tester's text always names the priority";
}

TEST_F(IncidentDecisionTest, OnlyAnAckOfExactlyFalseIsTakenBack) {
  Start(Config("CPU") + Config("Disk"));
  ReportCpuHigh({{"Ack", "FALSE"}, {"AckUser", "ops"}});
  Script().For("Disk").reports = {{"Server1", "DiskFull", AlertOn, {{"Ack", "false"}, {"AckUser", "ops"}}}};
  Pass();
  const auto& texts = *m_manager->IncidentCollection();
  ASSERT_EQ(texts.size(), 2u);
  EXPECT_EQ(Field(texts[0], "Ack"), "<missing>");
  EXPECT_EQ(Field(texts[0], "AckUser"), "<missing>");
  EXPECT_EQ(Field(texts[1], "Ack"), "false");
  EXPECT_EQ(Field(texts[1], "AckUser"), "ops");
}

TEST_F(IncidentDecisionTest, NoStateConfigurationsSendEveryReportUnderItsOwnCondition) {
  Start(Config("CPU", "mvSingle=nostate\r\nmvResCond=AllClear\r\n"));
  ReportCpuHigh();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"}) << "no memory: sent again";
  Clear();
  EXPECT_EQ(Pass(), Conditions{"AllClear"}) << "the off report too, under the resolve condition";
  Script().For("CPU").reports.clear();
  EXPECT_EQ(Pass(), Conditions{}) << "and nothing stays open";
}

TEST_F(IncidentDecisionTest, StateConfigurationsResolveOnlyUnderTheirResolveCondition) {
  WriteIni(Config("WithCond", "mvSingle=STATE\r\nmvResCond=AllClear\r\nmvUpdCond=Changed\r\n") +
           Config("Without", "mvSingle=STATE\r\n"));
  m_manager = MakeManager(ModeMorvane);
  MarkAttributesRelevant();
  Script().For("WithCond").reports = {{"Server1", "CpuHigh", AlertOn, {{"Load", "91"}}}};
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOn, {{"Load", "91"}}}};
  EXPECT_EQ(QueuedClasses(), (std::vector<std::string>{"CpuHigh", "CpuHigh"}));
  Script().For("WithCond").reports = {{"Server1", "CpuHigh", AlertOn, {{"Load", "97"}}}};
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOn, {{"Load", "97"}}}};
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"Changed"}) << "an update without mvUpdCond isn't reported";
  Clear("WithCond");
  Script().For("Without").reports = {{"Server2", "CpuHigh", AlertOff}};
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"AllClear"}) << "a resolve without mvResCond isn't reported";
  EXPECT_EQ(Matching("Will not set IncidentString based on instructions not to set").size(), 2u);
}

TEST_F(IncidentDecisionTest, AFilterWithRemoveUnmatchedDropsTheOtherFormsForGood) {
  Start(Config("CPU", "mvFilter=Resource=Server1\r\n"));
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}, {"Server2", "CpuHigh"}};
  EXPECT_EQ(Pass(), Conditions{"CpuHigh"});
  const auto& texts = *m_manager->IncidentCollection();
  ASSERT_EQ(texts.size(), 1u);
  EXPECT_EQ(Field(texts[0], "Resource"), "Server1");
  Clear();
  EXPECT_EQ(Pass(), Conditions{"CpuHigh(Resolved)"}) << "Server2's form was removed, not hidden";
}

TEST_F(IncidentDecisionTest, AFailedSendIsRetriedAsAFirstAlert) {
  WriteIni(Config("CPU"));
  // The queue's folder is a file: the connector can't write.
  std::filesystem::create_directories(m_home / "Connectors");
  WriteWholeFile(m_home / "Connectors/MvRouterQ", "in the way");
  m_manager = MakeManager(ModeMorvane);
  ReportCpuHigh({{"Load", "91"}});
  m_manager->Monitor();
  EXPECT_EQ(Matching("MonitorManager.SendIncidentData: ").size(), 1u);
  const std::shared_ptr<IncidentForms> saved = LoadForms();
  ASSERT_EQ(saved->Count(), 1);
  EXPECT_FALSE(saved->Item(1)->ProcessedByMM());
  EXPECT_EQ(saved->Item(1)->MVSendAlertPolls(), 0);

  std::filesystem::remove(m_home / "Connectors/MvRouterQ");
  Script().For("CPU").reports.clear();
  m_passes = 1;
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"CpuHigh"}) << "a first alert, never an update";
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{});
}

TEST_F(IncidentDecisionTest, TwoConfigurationsReportingOneIncidentSendItOnce) {
  WriteIni(Config("First") + Config("Second") + Config("Delayed", "mvWaitAlert=5\r\n"));
  m_manager = MakeManager(ModeMorvane);
  for (const char* moniker : {"First", "Second"}) ReportCpuHigh({}, moniker);
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"CpuHigh"});
  EXPECT_EQ(Matching("Second skipping sending of incident; configuration First has it open").size(), 1u);
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{});
}

TEST_F(IncidentDecisionTest, AFormStillInItsDelayDoesNotHoldBackAnotherConfiguration) {
  WriteIni(Config("Delayed", "mvWaitAlert=5\r\n") + Config("Immediate"));
  m_manager = MakeManager(ModeMorvane);
  for (const char* moniker : {"Delayed", "Immediate"}) ReportCpuHigh({}, moniker);
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"CpuHigh"});
  EXPECT_TRUE(Matching("has it open").empty());
}

TEST_F(IncidentDecisionTest, ARestartedManagerCountsOnAHalfCountedDelay) {
  WriteIni(Config("CPU", "mvWaitAlert=3\r\n"));
  m_manager = MakeManager(ModeMorvane);
  ReportCpuHigh();
  EXPECT_EQ(QueuedPass().size(), 0u);
  EXPECT_EQ(QueuedPass().size(), 0u);

  m_manager = MakeManager(ModeMorvane);  // the agent restarted: same home, new instance
  // The reloaded form is stamped with the load's time; the plug-in's report comes later.
  Clear();
  Script().For("CPU").reports.clear();
  Script().hook = [this](IncidentForms& forms, IncidentState&, Configurations&) {
    Advance(0.25);
    forms.Add("Server1", "CpuHigh")->SetAlertStatus(AlertOn);
  };
  EXPECT_EQ(QueuedPass().size(), 0u) << "pass 3 of the delay";
  EXPECT_EQ(QueuedClasses(), std::vector<std::string>{"CpuHigh"}) << "pass 4 sends";
}

TEST_F(IncidentDecisionTest, QueuedMessagesCarryTheirQueueTimeToLiveAndPriority) {
  WriteIni(Config("CPU", "mvEntityID=77\r\n"));
  m_manager = MakeManager(ModeMorvane);
  m_manager->SetMyEntityID("4711");
  Script().For("CPU").reports = {{"Server1", "CpuHigh"}, {"Agent", "SystemHeartbeatOn"}};
  Script().hook = [](IncidentForms& forms, IncidentState&, Configurations&) {
    const auto object = forms.GetTrackedObjects()->Add("Server1", "/var", "Mount");
    object->Properties()->Add("FreePercent", Value("12 & <low>"));
  };
  m_manager->Monitor();
  const std::vector<ConnectorMessage> messages = QueuedMessages();
  ASSERT_EQ(messages.size(), 3u);
  EXPECT_EQ(messages[0].TargetQueue(), MonitorManager::kDataCollectionQueue) << "sent before the forms";
  EXPECT_EQ(messages[0].TimeToLive(), 1209600);
  EXPECT_EQ(messages[0].EntityId(), 4711);
  EXPECT_EQ(messages[0].Body().rfind("***mvStartDataCollection***<Resources>", 0), 0u);
  EXPECT_NE(messages[0].Body().find("RefEntity=\"77\""), std::string::npos);
  EXPECT_NE(messages[0].Body().find("12 &amp; &lt;low&gt;"), std::string::npos);
  EXPECT_TRUE(messages[0].Body().ends_with("</Resources>\r\n***mvEndDataCollection***"));
  EXPECT_EQ(messages[1].TargetQueue(), MonitorManager::kIncidentQueue);
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

// The agent monitor, run by a MonitorManager of its own, closes what a removed
// configuration of another module left open: a "(Resolved)" incident goes out at once,
// and the other module drops its form at its next due pass without a resolve of its own.
TEST_F(IncidentDecisionTest, TheAgentMonitorClosesTheEventsOfARemovedConfiguration) {
  RegisterAgentMonitor(ClassRegistry::Global());
  WriteWholeFile(m_home / "BIN/MvAgent.ini",
                 "[Disk]\r\nClassID=KORADevServices.MonitorManager\r\n"
                 "[AgentMon]\r\nClassID=KORADevServices.MonitorManager\r\n");
  // Older than the module files, whose times the fixture moves on with each edit.
  std::filesystem::last_write_time(m_home / "BIN/MvAgent.ini", m_iniTime);
  WriteIni(Config("Root") + Config("Var"), "Disk");
  WriteIni(Config("Self"), "AgentMon");
  Script().For("Root").reports = {{"Server1", "DiskFull"}};
  Script().For("Var").reports = {{"Server2", "DiskFull"}};
  const auto disk = MakeManager(ModeMorvane, "Disk");
  const auto agent = MakeManager(ModeMorvane, "AgentMon", AgentMonitor::kClassId);
  disk->Monitor();
  agent->Monitor();
  ASSERT_EQ(QueuedIncidents().size(), 2u);

  WriteIni(Config("Root"), "Disk");  // "Var" is removed
  Advance(kFrequency);
  agent->Monitor();
  const std::vector<std::string> incidents = QueuedIncidents();
  ASSERT_EQ(incidents.size(), 3u);
  auto forms = std::make_shared<IncidentForms>();
  ASSERT_TRUE(forms->CreateFormFromString(incidents[2], "test"));
  const IncidentFormRef closed = forms->Item(1);
  EXPECT_EQ(closed->Condition(), "DiskFull(Resolved)");
  EXPECT_EQ(closed->GetAttributes()->Item(Value(std::string("ClosedUser")))->Value().ToText(),
            "<Closed By Agent Due To Deleted Configuration>");
  EXPECT_EQ(closed->GetAttributes()->Item(Value(std::string("mvConfigurationID")))->Value().ToText(), "Var");

  Script().For("Var").reports.clear();
  disk->Monitor();  // the ini changed: a pass, and the marker of the closed event is read
  EXPECT_EQ(QueuedIncidents().size(), 3u) << "no second resolve from the module itself";
  const std::shared_ptr<IncidentForms> left = LoadForms("Disk");
  ASSERT_EQ(left->AllForms().size(), 1u);
  EXPECT_EQ(left->AllForms()[0]->ConfigMoniker(), "Root");
}

}  // namespace
}  // namespace korad::testing
