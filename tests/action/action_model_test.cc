// The action model: standard keys through late binding, the shared date field and the
// legacy local-time views, Initialize's prefixes, and the life of the graph.
#include "action_fixture.h"
#include "platform/scripting_compatible_dictionary.h"
#include "support/error_number.h"
#include "support/recording_log_manager.h"
#include "support/scoped_time_zone.h"

namespace korad::testing {
namespace {

class ActionModelTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { RegisterActionTestClasses(); }
  std::shared_ptr<Action> m_action = Action::Create();
  ActiveEvent& m_event = *m_action->ActiveEvent();
  ~ActionModelTest() override { m_action->Finalize(); }
};

TEST_F(ActionModelTest, EveryStandardKeyIsTheOwnersPropertyByName) {
  struct Owner {
    Object& object;
    Attributes& attributes;
    std::vector<std::string> names;
  };
  User& user = *m_event.GetUser();
  const std::vector<Owner> owners = {
      {*m_action, *m_action->GetAttributes(), {"MONIKER", "DESCRIPTION", "RAWEVENT"}},
      {m_event, *m_event.GetAttributes(),
       {"RESOURCE", "RESOURCEDESCRIPTION", "CONDITION", "CONDITIONDESCRIPTION", "INITIALINCIDENTOCCURRENCEUNIVERSAL",
        "LASTINCIDENTOCCURRENCEUNIVERSAL", "INITIALRESPONSEOCCURRENCEUNIVERSAL", "LASTRESPONSEOCCURRENCEUNIVERSAL",
        "PREVIOUSINCIDENTOCCURRENCEUNIVERSAL", "PRIORITY"}},
      {user, *user.GetAttributes(), {"NAME"}},
  };
  for (const Owner& owner : owners) {
    for (const std::string& name : owner.names) {
      const std::string value = name == "PRIORITY" ? "7" : "v-" + name;
      EXPECT_FALSE(owner.attributes.Add(name, Value(value))) << name;
      EXPECT_EQ(owner.object.GetProperty(name).ToText(), value) << name;
    }
    EXPECT_EQ(owner.attributes.Count(), 0);
  }
  EXPECT_EQ(m_action->RawEvent(), "v-RAWEVENT");
  EXPECT_EQ(m_event.Priority(), 7);
  EXPECT_EQ(user.Name(), "v-NAME");
  // The last of the two names of one field wins for both.
  EXPECT_EQ(m_event.LastResponseOccurrenceUniversal(), "v-PREVIOUSINCIDENTOCCURRENCEUNIVERSAL");
  m_event.SetLastResponseOccurrenceUniversal("2026-01-01T00:00:00Z");
  EXPECT_EQ(m_event.PreviousIncidentOccurrenceUniversal(), "2026-01-01T00:00:00Z");
  EXPECT_EQ(NumberOf([&] { m_event.LetProperty("Priority", Value(70000)); }), kErrOverflow);
}

TEST_F(ActionModelTest, LegacyDatesAreLocalViewsOfTheUniversalFields) {
  ScopedTimeZone zone("Europe/Berlin");  // +01:00 in March
  const std::vector<std::pair<std::string, std::string>> members = {
      {"InitialIncidentOccurrence", "InitialIncidentOccurrenceUniversal"},
      {"LastIncidentOccurrence", "LastIncidentOccurrenceUniversal"},
      {"InitialResponseOccurrence", "InitialResponseOccurrenceUniversal"},
      {"LastResponseOccurrence", "LastResponseOccurrenceUniversal"},
  };
  auto log = std::make_shared<RecordingLogManager>();
  m_action->SetLogManager(log);
  for (const auto& [legacy, universal] : members) {
    log->Clear();
    m_event.LetProperty(legacy, Value("2026-03-05 14:30:00"));
    EXPECT_EQ(m_event.GetProperty(universal).ToText(), "2026-03-05T13:30:00Z") << legacy;
    EXPECT_EQ(m_event.GetProperty(legacy).ToText(), "2026-03-05 14:30:00") << legacy;
    m_event.LetProperty(universal, Value("2026-07-01T10:00:00Z"));
    EXPECT_EQ(m_event.GetProperty(legacy).ToText(), "2026-07-01 12:00:00") << legacy;
    ASSERT_EQ(log->Lines().size(), 1u) << legacy;
    EXPECT_EQ(log->Lines()[0].text, "Legacy property access (" + legacy + ") occurred");
    EXPECT_EQ(log->Lines()[0].category, "DevSvcErr");
    EXPECT_EQ(log->Lines()[0].level, logLevelWarningLow);
  }
  EXPECT_EQ(m_event.PreviousIncidentOccurrenceUniversal(), "2026-07-01T10:00:00Z");

  // Without a logger the conversion still happens.
  auto quiet = Action::Create();
  quiet->ActiveEvent()->SetInitialResponseOccurrence(Value("2026-03-05 00:30:00"));
  EXPECT_EQ(quiet->ActiveEvent()->InitialResponseOccurrenceUniversal(), "2026-03-04T23:30:00Z");
  quiet->Finalize();
}

TEST_F(ActionModelTest, InitializeSendsEachPrefixToItsCollection) {
  Attributes& initial = *m_action->InitialAttributes();
  initial.Add(" action .Moniker", Value("Restart"));
  initial.Add("EVENT.Severity", Value("3"));
  initial.Add("user.Name", Value("bob"));
  initial.Add("Other.Thing", Value("x"));
  initial.Add("Plain", Value("y"));
  m_action->Initialize();

  EXPECT_EQ(m_action->Moniker(), "Restart");
  EXPECT_EQ(m_action->GetAttributes()->Count(), 0);
  EXPECT_EQ(m_event.GetUser()->Name(), "bob");
  EXPECT_EQ(Dump(*m_event.GetAttributes()), "Severity=3;Other.Thing=x;Plain=y");
  EXPECT_EQ(Dump(*m_action->AllAttributes()), "Moniker=Restart;Severity=3;Name=bob;Other.Thing=x;Plain=y");
}

int Alive(const std::vector<std::weak_ptr<Object>>& objects) {
  int alive = 0;
  for (const auto& object : objects) alive += !object.expired();
  return alive;
}

TEST(ActionGraphTest, FinalizeLetsTheWholeGraphGoAndAnEndingObjectEmptiesItsCollections) {
  RegisterActionTestClasses();
  auto action = Action::Create();
  const auto& event = action->ActiveEvent();
  const std::vector<std::weak_ptr<Object>> graph = {
      action, action->GetAttributes(), action->AllAttributes(), action->InitialAttributes(), event,
      event->GetAttributes(), event->KeyAttributes(), event->GetUser(), event->GetUser()->GetAttributes()};
  event->GetAttributes()->Add("Severity", Value("3"));
  action.reset();
  EXPECT_EQ(Alive(graph), 9) << "the parent links keep the graph alive";
  auto kept = std::static_pointer_cast<Action>(graph[0].lock());
  kept->Finalize();
  EXPECT_NE(NumberOf([&] { kept->GetAttributes()->Add("Moniker", Value("x")); }), 0);
  AttributesRef eventAttributes = kept->ActiveEvent()->GetAttributes();
  kept.reset();
  EXPECT_EQ(Alive(graph), 1);
  EXPECT_EQ(eventAttributes->Count(), 0);
  eventAttributes.reset();
  EXPECT_EQ(Alive(graph), 0);
}

}  // namespace
}  // namespace korad::testing
