#include "incident/incident_state.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "incident/serializer_fixture.h"
#include "platform/platform.h"
#include "support/error_number.h"
#include "support/fake_clock.h"
#include "support/recording_log.h"

namespace korad {
namespace {

using testing::NumberOf;

// Local time two hours east of UTC, so a twin that isn't converted shows.
class IncidentStateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    m_clock->SetUtcOffsetMinutes(120);
    Platform::Current().SetClock(m_clock);
  }
  void TearDown() override { Platform::Current().SetClock(nullptr); }

  std::vector<std::string> RawKeys() { return m_state.Dictionary().Keys(); }
  static OleDate At(int hour) { return *OleDate::FromCivil(2024, 3, 5, hour, 30, 0); }

  std::shared_ptr<testing::FakeClock> m_clock = std::make_shared<testing::FakeClock>();
  IncidentState m_state;
};

TEST_F(IncidentStateTest, ADateLivesTwiceAndLeavesTogether) {
  m_state.Add("Seen", Value(At(10)));
  EXPECT_EQ(RawKeys(), (std::vector<std::string>{"GLOBAL-SEENUTC", "GLOBAL-SEEN"}));
  EXPECT_TRUE(testing::IsDateAt(m_state.Item("SeenUTC"), At(8)));
  EXPECT_TRUE(testing::IsDateAt(m_state.Item("seen"), At(10)));
  EXPECT_EQ(m_state.Keys(), (std::vector<std::string>{"SEENUTC", "SEEN"}));
  EXPECT_EQ(m_state.Count(), 2);

  // Changing the date through Item changes its twin too.
  m_state.LetItem("Seen", Value(At(14)));
  EXPECT_TRUE(testing::IsDateAt(m_state.Item("SeenUTC"), At(12)));

  m_state.Remove("Seen");
  EXPECT_TRUE(RawKeys().empty());
  EXPECT_EQ(m_state.Count(), 0);
  EXPECT_EQ(m_state.AllConfigMonikers().Count(), 0u);

  // A UTC date gets its local twin.
  m_state.Add("SeenUTC", Value(At(8)));
  EXPECT_TRUE(testing::IsDateAt(m_state.Item("Seen"), At(10)));
  m_state.Remove("SeenUTC");
  EXPECT_FALSE(m_state.Exists("Seen"));
}

TEST_F(IncidentStateTest, ProductKeysTheGlobalMonikerAndPlainValuesGetNoTwin) {
  m_state.Add("mvLastRun", Value(At(10)));   // lower case still reads as "MV"
  m_state.Add("Count", Value(int32_t{5}));
  m_state.SetConfigMoniker("mvGlobal");
  m_state.Add("Seen", Value(At(10)));
  EXPECT_EQ(RawKeys(), (std::vector<std::string>{"GLOBAL-MVLASTRUN", "GLOBAL-COUNT", "MVGLOBAL-SEEN"}));

  // Text that reads as a date is a date here.
  m_state.SetConfigMoniker("Disk");
  m_state.Add("When", Value("2024-03-05 10:30:00"));
  EXPECT_TRUE(testing::IsDateAt(m_state.Item("WhenUTC"), At(8)));
  EXPECT_EQ(m_state.Item("When"), Value("2024-03-05 10:30:00"));
}

TEST_F(IncidentStateTest, EachMonikerSeesItsOwnKeys) {
  m_state.SetConfigMoniker(" cpu1 ");
  m_state.Add("Load", Value(int32_t{1}));
  m_state.Add("Peak", Value(int32_t{9}));
  m_state.SetConfigMoniker("Disk");
  EXPECT_FALSE(m_state.Exists("Load"));
  EXPECT_TRUE(m_state.Item("Load").IsEmpty());
  m_state.Add("Load", Value(int32_t{2}));  // a second entry: the raw key differs
  EXPECT_EQ(RawKeys(), (std::vector<std::string>{"CPU1-LOAD", "CPU1-PEAK", "DISK-LOAD"}));
  EXPECT_EQ(m_state.Count(), 1);
  EXPECT_EQ(m_state.Keys(), std::vector<std::string>{"LOAD"});
  // The moniker is kept as it was written when the key was added.
  EXPECT_EQ(*m_state.AllConfigMonikers().Find("CPU1-LOAD"), Value(" cpu1 "));

  m_state.SetConfigMoniker("CPU1");
  EXPECT_EQ(m_state.Count(), 2);
  EXPECT_EQ(m_state.Item("Load"), Value(int32_t{1}));
  // RemoveAll takes the moniker's dates with their twins and a key that repeats the
  // moniker's prefix, and keeps the others in their order.
  m_state.Add("Seen", Value(*OleDate::FromCivil(2024, 3, 5, 10, 0, 0)));
  m_state.Add("CPU1-Spare", Value("x"));
  m_state.SetConfigMoniker("Disk");
  m_state.Add("Free", Value(int32_t{3}));
  m_state.SetConfigMoniker("CPU1");
  m_state.RemoveAll();
  EXPECT_EQ(RawKeys(), (std::vector<std::string>{"DISK-LOAD", "DISK-FREE"}));
  EXPECT_EQ(m_state.AllConfigMonikers().Count(), 2u);

  // A blank moniker is the global one.
  m_state.SetConfigMoniker("  ");
  EXPECT_EQ(m_state.ConfigMoniker(), "Global");
}

TEST_F(IncidentStateTest, AMonikerWithADashReadsItsKeysButDoesNotListThem) {
  m_state.SetConfigMoniker("Web-1");
  m_state.Add("Status", Value("up"));
  EXPECT_EQ(m_state.Item("Status"), Value("up"));
  EXPECT_EQ(m_state.Count(), 1);
  EXPECT_TRUE(m_state.Keys().empty());

  // "WEB" + "1-STATUS" names the same raw key: Add replaces the value, ownership stays.
  m_state.SetConfigMoniker("Web");
  m_state.Add("1-Status", Value("down"));
  EXPECT_TRUE(m_state.Item("1-Status").IsEmpty());
  m_state.SetConfigMoniker("Web-1");
  EXPECT_EQ(m_state.Item("Status"), Value("down"));
}

TEST_F(IncidentStateTest, ChangingAMissingKeyFailsAndReadingOneDoesNot) {
  EXPECT_TRUE(m_state.Item("Nothing").IsEmpty());
  try {
    m_state.LetItem("Nothing", Value("x"));
    FAIL() << "a missing key was changed";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), kLibraryError);
    EXPECT_EQ(e.Description(), "IncidentState.Item(Let): The key 'Nothing' does not exist. Cannot change.");
  }

  // With a log manager the failure is a log line, and the caller goes on.
  auto log = std::make_shared<testing::RecordingLogManager>();
  m_state.SetLogManager(log);
  m_state.SetItem("Thing", nullptr);
  ASSERT_EQ(log->Lines().size(), 1u);
  EXPECT_EQ(log->Lines()[0].text, "IncidentState.Item(Set): The key 'Thing' does not exist. Cannot change.");
  EXPECT_EQ(log->Lines()[0].category, "DevSvcErr");
}

TEST_F(IncidentStateTest, AnEntryWithoutOwnershipRecordIsReportedWithTheStepAndRawKey) {
  m_state.Dictionary().Add("GLOBAL-STRAY", Value("x"));  // behind the records' back
  EXPECT_EQ(NumberOf([&] { m_state.Item("Stray"); }), kErrInvalidCall);

  auto log = std::make_shared<testing::RecordingLogManager>();
  m_state.SetLogManager(log);
  EXPECT_TRUE(m_state.Item("Stray").IsEmpty());
  ASSERT_EQ(log->Lines().size(), 1u);
  EXPECT_EQ(log->Lines()[0].text,
            "IncidentState.Item(Get:Stray at 4 with GLOBAL-STRAY): Invalid procedure call or argument");
  // The walk of the records runs past their end.
  EXPECT_EQ(m_state.Count(), 0);
  EXPECT_EQ(log->Matching("IncidentState.Count(Get): ").size(), 1u);
}

TEST_F(IncidentStateTest, RemoveTakesRawKeysOfItsOwnMonikerOnly) {
  m_state.SetConfigMoniker("CPU1");
  m_state.Add("Load", Value(int32_t{1}));
  m_state.SetConfigMoniker("Disk");
  m_state.Add("Free", Value(int32_t{2}));
  m_state.Remove("CPU1-LOAD");  // owned by another moniker
  m_state.RemoveRawKey("CPU1-LOAD");
  EXPECT_EQ(RawKeys().size(), 2u);
  m_state.RemoveRawKey("disk-free");
  EXPECT_EQ(RawKeys(), std::vector<std::string>{"CPU1-LOAD"});
  EXPECT_EQ(m_state.AllConfigMonikers().Keys(), std::vector<std::string>{"CPU1-LOAD"});
}

}  // namespace
}  // namespace korad
