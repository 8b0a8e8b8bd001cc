// A form's life through merges, scenario by scenario: the reports of one pass are folded
// into the open forms of the configuration, oldest first.
#include <gtest/gtest.h>

#include "forms_fixture.h"
#include "incident/incident_object_builder.h"

namespace korad {
namespace {

using testing::ExpectSameTime;
using testing::FormsFixture;
using testing::RaisedDescription;

class FormMergeLife : public FormsFixture {
 protected:
  void SetRelevant(const IncidentFormRef& form, std::string_view key) {
    form->GetAttributes()->Item(Value(key))->SetRelevantToUpdates(true);
  }
  static std::string Attribute(const IncidentFormRef& form, std::string_view key) {
    return form->GetAttributes()->Item(Value(key))->Value().ToText();
  }
  // A merged form is finalized when it is dropped: its attributes no longer reach it.
  static bool Dropped(const IncidentFormRef& form) {
    return form->AlertStatus() == 5 && form->GetAttributes()->Parent() == nullptr;
  }
};

TEST_F(FormMergeLife, OnOnOnWithARelevantChangeMergeIntoTheFirstFormWithTheLastTime) {
  IncidentFormRef first = Report("srv1", "DiskFull", AlertOn, {Value("Used:=80"), Value("Mount:=/")});
  MarkSent(first);
  IncidentFormRef second = Report("srv1", "DiskFull", AlertOn, {Value("Used:=85"), Value("Mount:=/")});
  SetRelevant(second, "Used");
  IncidentFormRef third = Report("SRV1", "diskfull", AlertOn, {Value("Used:=90"), Value("Mount:=/")});
  SetRelevant(third, "Used");

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 1);
  EXPECT_EQ(forms->Item(1), first);
  EXPECT_EQ(first->AlertStatus(), AlertOn);
  EXPECT_TRUE(first->ProcessedByMM()) << "the merge keeps what the engine knew of the form";
  EXPECT_EQ(Attribute(first, "Used"), "90");
  EXPECT_EQ(first->Resource(), "SRV1") << "resource and condition come from the last report";
  EXPECT_TRUE(first->UpdateOccurred());
  ExpectSameTime(first->OccurrenceTimeUTC(), third->OccurrenceTimeUTC());  // a change moves the time forward
  EXPECT_TRUE(Dropped(second));
  EXPECT_TRUE(Dropped(third));
}

TEST_F(FormMergeLife, OnOnOnWithoutARelevantChangeKeepTheFirstTimeButANewAttributeIsAChange) {
  IncidentFormRef first = Report("srv1", "DiskFull", AlertOn, {Value("Used:=80")});
  MarkSent(first);
  const OleDate sentAt = first->OccurrenceTimeUTC();
  Report("srv1", "DiskFull", AlertOn, {Value("Used:=80")});
  Report("srv1", "DiskFull", AlertOn, {Value("Used:=91")});  // not relevant to updates
  IncidentFormRef hinted = Report("srv2", "DiskFull", AlertOn);
  MarkSent(hinted);
  IncidentFormRef hint = Report("srv2", "DiskFull", AlertOn, {Value("Hint:=clean /tmp")});

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 2);
  EXPECT_EQ(Attribute(first, "Used"), "91") << "the value is taken all the same";
  EXPECT_FALSE(first->UpdateOccurred());
  EXPECT_EQ(first->OccurrenceTimeUTC(), sentAt);
  EXPECT_FALSE(first->MergeCarried());
  EXPECT_EQ(Attribute(hinted, "Hint"), "clean /tmp");
  EXPECT_TRUE(hinted->UpdateOccurred());
  ExpectSameTime(hinted->OccurrenceTimeUTC(), hint->OccurrenceTimeUTC());
}

TEST_F(FormMergeLife, OnProcessedThenOffBecomeOneOffFormThatKnowsWhenTheProblemEnded) {
  IncidentFormRef on = Report("srv1", "Down", AlertOn);
  MarkSent(on);
  const OleDate sentAt = on->OccurrenceTimeUTC();
  IncidentFormRef off = Report("srv1", "Down", AlertOff);

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 1);
  EXPECT_EQ(forms->Item(1), on);
  EXPECT_EQ(on->AlertStatus(), AlertOff) << "the off report's status";
  EXPECT_EQ(on->OccurrenceTimeUTC(), sentAt);
  EXPECT_EQ(on->PotentialMergedOccurrenceTimeUTC(), off->OccurrenceTimeUTC());
  EXPECT_TRUE(Dropped(off));
  EXPECT_EQ(Texts("MergeForms")[6], "MergeForms (srv1:Down) AlertStatus set to 0 from 0");
}

TEST_F(FormMergeLife, OnThenOffInTheSamePollStayTwoAndTheOnFormIsSentOnce) {
  IncidentFormRef on = Report("srv1", "Down", AlertOn);
  IncidentFormRef off = Report("srv1", "Down", AlertOff);

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 2);
  EXPECT_EQ(forms->Item(1), on);
  EXPECT_EQ(forms->Item(2), off);
  EXPECT_TRUE(off->ProcessedByMM()) << "the off form was never announced";
  EXPECT_EQ(on->AlertStatus(), AlertOnce) << "the off report turns the on form into a one-off alert";
  EXPECT_TRUE(on->OnceUpdateOccurred());
  EXPECT_EQ(Texts("Merge"), std::vector<std::string>{"IncidentForms.CalculatePerformMerge: OnOffSamePoll Form 1 Date: "
                                                     "2024-01-15 12:01:00 :  Form 2 Date: 2024-01-15 12:02:00"});
  EXPECT_EQ(CreateIncidentObject(*on, 0, "", "").Item("Class").ToText(), "Down(Updated)");
}

TEST_F(FormMergeLife, AnOffReportTurnsEveryEqualEarlierOnFormIntoAlertOnce) {
  IncidentFormRef first = Report("srv1", "Full", AlertOn, {Value("KeyAttributes:=Drive"), Value("Drive:=C")});
  IncidentFormRef second = Report("srv1", "Full", AlertOn, {Value("KeyAttributes:=Drive"), Value("Drive:=C")});
  IncidentFormRef otherDrive = Report("srv1", "Full", AlertOn, {Value("KeyAttributes:=Drive"), Value("Drive:=D")});
  IncidentFormRef off = Report("srv1", "Full", AlertOff, {Value("KeyAttributes:=Drive"), Value("Drive:=c")});

  forms->ReCalculateForms();

  // Two unprocessed on reports don't merge; the later one carries on.
  ASSERT_EQ(forms->Count(), 4);
  EXPECT_EQ(first->AlertStatus(), AlertOnce);
  EXPECT_EQ(second->AlertStatus(), AlertOnce);
  EXPECT_TRUE(first->OnceUpdateOccurred());
  EXPECT_TRUE(second->OnceUpdateOccurred());
  EXPECT_FALSE(second->MergeCarried()) << "carried by the first, and dropped again before the off report";
  EXPECT_EQ(otherDrive->AlertStatus(), AlertOn) << "another key value is another incident";
  EXPECT_TRUE(off->ProcessedByMM());
}

TEST_F(FormMergeLife, OfTwoAdjacentUnprocessedOnReportsTheLaterIsMarkedUpdatedAndBecomesAlertOnce) {
  IncidentFormRef first = Report("srv1", "Down", AlertOn, {Value("Priority:=3")});
  IncidentFormRef second = Report("srv1", "Down", AlertOn, {Value("Priority:=3")});
  IncidentFormRef noPriority = Report("srv2", "Down", AlertOn);
  IncidentFormRef noPriorityAgain = Report("srv2", "Down", AlertOn);

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 4);
  EXPECT_EQ(first->AlertStatus(), AlertOn);
  EXPECT_EQ(second->AlertStatus(), AlertOnce);
  EXPECT_EQ(second->Priority(), 3) << "negated twice";
  EXPECT_TRUE(second->UpdateOccurred());
  EXPECT_FALSE(second->ProcessedByMM());
  EXPECT_TRUE(second->MergeCarried());
  EXPECT_EQ(noPriorityAgain->Priority(), 0) << "set to 1 and back";
  EXPECT_TRUE(noPriorityAgain->UpdateOccurred());
  EXPECT_EQ(noPriorityAgain->AlertStatus(), AlertOnce);
  EXPECT_EQ(Texts("MergeForms").size(), 15u) << "no merge line";
  EXPECT_EQ(log->Matching("RecalculateForms : Form Compare Successful", "MergeForms").size(), 2u);
}

TEST_F(FormMergeLife, OnOnOnUnprocessedTheSecondCarriesTheThird) {
  IncidentFormRef first = Report("srv1", "Down", AlertOn);
  IncidentFormRef second = Report("srv1", "Down", AlertOn, {Value("Load:=5")});
  IncidentFormRef third = Report("srv1", "Down", AlertOn, {Value("Load:=7")});
  SetRelevant(third, "Load");  // the later report says what counts

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 2);
  EXPECT_EQ(first->AlertStatus(), AlertOn);
  EXPECT_EQ(second->AlertStatus(), AlertOnce);
  EXPECT_EQ(Attribute(second, "Load"), "7");
  ExpectSameTime(second->OccurrenceTimeUTC(), third->OccurrenceTimeUTC());
  EXPECT_TRUE(Dropped(third));
}

TEST_F(FormMergeLife, OffReportsMergeOffPendingTakesTheLaterTimeAndAlertOnceNeverMerges) {
  IncidentFormRef off = Report("srv1", "Down", AlertOff, {Value("Seen:=1")});
  Report("srv1", "Down", AlertOff, {Value("Seen:=2")});
  IncidentFormRef pending = Report("srv2", "Down", AlertOffPending);
  IncidentFormRef pendingOff = Report("srv2", "Down", AlertOff);
  IncidentFormRef pendingOn = Report("srv3", "Down", AlertOffPending);
  const OleDate pendingSince = pendingOn->OccurrenceTimeUTC();
  Report("srv3", "Down", AlertOn);
  Report("srv4", "Reboot", AlertOnce);
  Report("srv4", "Reboot", AlertOnce);
  Report("srv4", "Reboot", AlertOn);
  log->Clear();

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 6) << "AlertOnce reports never merge";
  EXPECT_EQ(Attribute(off, "Seen"), "2");
  EXPECT_EQ(pending->AlertStatus(), AlertOff);
  ExpectSameTime(pending->OccurrenceTimeUTC(), pendingOff->OccurrenceTimeUTC());  // taken whatever changed
  EXPECT_EQ(log->Matching("Local Occurrence Time Called", "ObsoleteDate").size(), 1u);
  EXPECT_EQ(pendingOn->AlertStatus(), AlertOn);
  EXPECT_EQ(pendingOn->OccurrenceTimeUTC(), pendingSince) << "an on report without a change leaves the time";
}

TEST_F(FormMergeLife, AnOffPendingReportKeepsTheOnStatusButTakesItsProcessedMark) {
  IncidentFormRef on = Report("srv1", "Down", AlertOn, {Value("Load:=5")});
  MarkSent(on);
  IncidentFormRef pending = Report("srv1", "Down", AlertOffPending, {Value("Load:=5")});

  forms->ReCalculateForms();

  ASSERT_EQ(forms->Count(), 1);
  EXPECT_EQ(on->AlertStatus(), AlertOn);
  EXPECT_FALSE(on->ProcessedByMM());
  EXPECT_FALSE(on->UpdateOccurred());
  EXPECT_TRUE(Dropped(pending));
}

TEST_F(FormMergeLife, EveryStepIsLoggedAndTheViewIsInArrivalOrderAfterwards) {
  IncidentFormRef late = Report("srv1", "Down", AlertOff);
  IncidentFormRef other = Report("srv2", "Down", AlertOn);
  late->SetOccurrenceTimeUTC(late->OccurrenceTimeUTC().AddSeconds(600));
  IncidentFormRef early = Report("srv1", "Down", AlertOff);
  forms->MoveLast();
  log->Clear();

  forms->ReCalculateForms();

  EXPECT_EQ(Texts("MergeForms"), (std::vector<std::string>{
                                     "RecalculateForms : Begin (Count = 3)",
                                     "QuickSortForms2: Copy to array 3",
                                     "QuickSortForms2: Sort 3",
                                     "QuickSortForms2: Clear old collection 3",
                                     "QuickSortForms2: Repopulate collection 3",
                                     "RecalculateForms : Merging forms (Count = 3)",
                                     "MergeForms (srv1:Down) AlertStatus set to 0 from 0",
                                     "RecalculateForms : Merged forms (Count = 3)",
                                     "RecalculateForms : Merged forms (Count = 3)",
                                     "RecalculateForms : nFormLoop = 2",
                                     "RecalculateForms : nFormLoop = 1",
                                     "RecalculateForms : End",
                                 }));
  // The earlier report survives; the list is back in the order of arrival.
  ASSERT_EQ(forms->Count(), 2);
  EXPECT_EQ(forms->Item(1), other);
  EXPECT_EQ(forms->Item(2), early);
  EXPECT_EQ(forms->CurrentPosition(), 1);
  EXPECT_FALSE(forms->IsFilterEnabled());
}

TEST_F(FormMergeLife, OnlyTheSelectedConfigurationIsMergedAndALogManagerIsRequired) {
  IncidentFormRef mine = Report("srv1", "Down", AlertOff);
  forms->SetConfigMoniker("CpuLoad");
  IncidentFormRef theirs = Report("srv1", "Down", AlertOff);
  Report("srv1", "Down", AlertOff);
  forms->SetConfigMoniker("DiskSpace");
  Report("srv1", "Down", AlertOff);
  forms->ReCalculateForms();
  EXPECT_EQ(forms->Count(), 1);
  EXPECT_EQ(forms->AllForms().size(), 3u);
  EXPECT_EQ(theirs->AlertStatus(), AlertOff);

  IncidentForms bare;
  EXPECT_EQ(RaisedDescription([&] { bare.ReCalculateForms(); }, kErrObjectRequired),
            "IncidentForms.ReCalculateForms: Object required");
}

}  // namespace
}  // namespace korad
