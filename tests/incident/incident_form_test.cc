// The edges of a single form: its defaults, the properties that refuse blanks, and the
// ones whose setters have side effects on the poll counters or the update mark.
#include "incident/incident_form.h"

#include <gtest/gtest.h>

#include "forms_fixture.h"

namespace korad {
namespace {

using testing::ExpectSameTime;
using testing::FakeClock;
using testing::RaisedDescription;
using testing::RecordingLogManager;
using testing::ScopedPlatformClock;

TEST(IncidentFormEdges, ANewFormHasItsDefaultsAndTheClockOfItsCreation) {
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 60));
  IncidentFormRef form = IncidentForm::Create();
  EXPECT_EQ(form->AlertStatus(), AlertOnce);
  EXPECT_EQ(form->Priority(), 0);
  EXPECT_EQ(form->MVSendAlertPolls(), -2);
  EXPECT_EQ(form->MVResolveAlertPolls(), -2);
  EXPECT_EQ(form->PropertiesCRC(), 0);
  EXPECT_FALSE(form->UpdateOccurred());
  EXPECT_FALSE(form->ProcessedByMM());
  EXPECT_EQ(form->OccurrenceTimeUTC(), FakeClock::DefaultStart());
  EXPECT_EQ(form->PotentialMergedOccurrenceTimeUTC(), FakeClock::DefaultStart());
  ExpectSameTime(form->OccurrenceTime(), FakeClock::DefaultStart().AddSeconds(3600));  // seen in local time
  form->Finalize();
}

TEST(IncidentFormEdges, BlankResourceFailsAndReadsEmpty) {
  IncidentFormRef form = IncidentForm::Create();
  form->SetResource("disk C");
  EXPECT_EQ(form->Resource(), "diskC") << "held without blanks";
  EXPECT_EQ(RaisedDescription([&] { form->SetResource("   "); }),
            "IncidentForm.Resource(Let): Resource cannot be empty");
  EXPECT_EQ(form->Resource(), "");
  EXPECT_EQ(RaisedDescription([&] { form->SetCondition(""); }),
            "IncidentForm.Condition(Let): Condition cannot be empty");

  // With a log manager the failure is logged and the field still reads empty.
  auto log = std::make_shared<RecordingLogManager>();
  form->SetLogManager(log);
  form->SetResource("x");
  form->SetResource(" ");
  EXPECT_EQ(form->Resource(), "");
  ASSERT_EQ(log->Matching("Resource cannot be empty", "DevSvcErr").size(), 1u);
  form->Finalize();
}

TEST(IncidentFormEdges, AnAlertCancelsAResolveInProgressAndOnlyAChangeOfStatusDoes) {
  auto log = std::make_shared<RecordingLogManager>();
  IncidentFormRef form = IncidentForm::Create();
  form->SetResource("srv");
  form->SetCondition("Down");
  form->SetLogManager(log);

  form->SetAlertStatus(AlertOff);
  form->SetMVResolveAlertPolls(3);
  form->SetAlertStatus(AlertOff);  // same status: the polls are never touched
  EXPECT_EQ(form->MVResolveAlertPolls(), 3);
  form->SetAlertStatus(AlertOffPending);
  EXPECT_EQ(form->MVResolveAlertPolls(), 3) << "only an alert cancels the resolve";
  form->SetAlertStatus(AlertOn);
  EXPECT_EQ(form->MVResolveAlertPolls(), -2);
  EXPECT_EQ(log->Matching("AlertStatus (srv:Down) set to 1 from 3: SendAlertPolls = -2 ResolveAlertPolls = -2",
                          "AlertStatus")
                .size(),
            1u);
  EXPECT_EQ(log->Matching("MVResolveAlertPolls (srv:Down) set to -2").size(), 0u)
      << "the reset bypasses the counter's own log line";

  form->SetMVResolveAlertPolls(3);
  form->SetAlertStatus(AlertOn);
  EXPECT_EQ(form->MVResolveAlertPolls(), 3) << "same status again";
  form->SetAlertStatus(5);
  EXPECT_EQ(static_cast<int32_t>(form->AlertStatus()), 5) << "no range check: 5 marks a merged form";
  form->Finalize();
}

TEST(IncidentFormEdges, OccurrenceTimeZeroPriorityUnchangedAndRetryCountAreNoOps) {
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), -300));
  auto log = std::make_shared<RecordingLogManager>();
  IncidentFormRef form = IncidentForm::Create();
  form->SetLogManager(log);

  form->SetOccurrenceTime(OleDate(0));
  EXPECT_EQ(form->OccurrenceTimeUTC(), FakeClock::DefaultStart());
  EXPECT_EQ(log->Matching("Local Occurrence Time Called (IncidentForm.OccurrenceTime(Let)", "ObsoleteDate").size(), 1u)
      << "each use is noted, even an ignored one";
  const OleDate localNoon = *OleDate::FromCivil(2024, 3, 1, 12);
  form->SetOccurrenceTime(localNoon);
  ExpectSameTime(form->OccurrenceTimeUTC(), localNoon.AddSeconds(5 * 3600));

  form->SetPriority(0);
  EXPECT_FALSE(form->UpdateOccurred()) << "the same priority is no update";
  form->SetPriority(4);
  EXPECT_TRUE(form->UpdateOccurred());
  form->ResetUpdateOccurred();
  EXPECT_FALSE(form->UpdateOccurred());

  form->SetAlertAfterRetryCount(7);
  EXPECT_EQ(form->AlertAfterRetryCount(), 0);
  form->Finalize();
}

}  // namespace
}  // namespace korad
