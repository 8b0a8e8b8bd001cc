// A monitor's forms as plug-ins add them and as the engine filters and walks them.
#include "incident/incident_forms.h"

#include <gtest/gtest.h>

#include "forms_fixture.h"
#include "incident/message_value_check.h"
#include "incident/tracked_objects.h"

namespace korad {
namespace {

using testing::FakeClock;
using testing::FormsFixture;
using testing::RaisedDescription;

class IncidentFormsAdd : public FormsFixture {};

TEST_F(IncidentFormsAdd, AFormStartsWithTheConfigurationsAttributesThenTheCallersOwn) {
  forms->InitialAttributes()->Add("Resource", Value("fromConfig"));
  forms->InitialAttributes()->Add("KeyAttributes", Value("Drive"));
  forms->InitialAttributes()->Add("Owner", Value("ops"));
  forms->InitialAttributes()->Add("Drive", Value("Z"));

  IncidentFormRef form = forms->Add("", "Full", {Value("Drive:=C"), Value("Used:=a:=b")});
  ASSERT_NE(form, nullptr);
  EXPECT_EQ(form->Resource(), "fromConfig") << "an initial attribute may supply the resource";
  EXPECT_EQ(form->KeyAttributes(), "Drive");
  EXPECT_EQ(form->ConfigMoniker(), "DiskSpace");
  EXPECT_EQ(form->GetLogManager(), log);
  EXPECT_EQ(form->GetAttributes()->Item(Value("Drive"))->Value().ToText(), "C") << "the caller's value wins";
  EXPECT_EQ(form->GetAttributes()->Item(Value("Used"))->Value().ToText(), "a:=b") << "split at the first :=";
  EXPECT_EQ(form->GetAttributes()->Item(Value("Owner"))->Value().ToText(), "ops");
  EXPECT_FALSE(form->UpdateOccurred()) << "what a form comes with is no update";
  EXPECT_EQ(forms->Count(), 1);
  EXPECT_EQ(forms->CurrentPosition(), 1);
  EXPECT_EQ(forms->CurrentForm(), form);
}

TEST_F(IncidentFormsAdd, AFailedAddLeavesTheCollectionAsItWas) {
  IncidentForms bare;
  EXPECT_EQ(RaisedDescription([&] { bare.Add("srv", "", {}); }),
            "IncidentForms.Add: Both resource and condition must contain characters");
  EXPECT_EQ(RaisedDescription([&] { bare.Add("srv", "Down", {Value("Drive:=C"), Value("x=1")}); }),
            "IncidentForms.Add: IncidentForms.ParseAttrArrayForAdd: All Dynamic Attributes Must Be In The Format x:=y");
  EXPECT_EQ(bare.Count(), 0);
  EXPECT_TRUE(bare.AllForms().empty());

  EXPECT_EQ(forms->Add("srv", "   ", {}), nullptr);
  EXPECT_EQ(forms->Count(), 0);
  EXPECT_EQ(Texts("DevSvcErr"), (std::vector<std::string>{
                                    "IncidentForm.Condition(Let): Condition cannot be empty",
                                    "IncidentForms.Add: Both resource and condition must contain characters",
                                }));
}

TEST_F(IncidentFormsAdd, AReadyFormJoinsTheSelectedConfigurationAndEndsTheFilter) {
  Report("srv1", "Down", AlertOn, {Value("Priority:=3")});
  Report("srv2", "Down", AlertOn);
  forms->SetFilterString("Priority=3");
  ASSERT_TRUE(forms->IsFilterEnabled());
  ASSERT_EQ(forms->Count(), 1);
  forms->InitialAttributes()->Add("Owner", Value("ops"));
  forms->InitialAttributes()->Add("Site", Value("north"));

  IncidentFormRef ready = IncidentForm::Create();
  ready->SetResource("srv3");
  ready->SetCondition("Down");
  ready->GetAttributes()->Add("Site", Value("south"));
  forms->AddNewIncidentForm(ready);

  EXPECT_EQ(ready->ConfigMoniker(), "DiskSpace");
  EXPECT_EQ(ready->GetAttributes()->Item(Value("Site"))->Value().ToText(), "south");
  EXPECT_EQ(ready->GetAttributes()->Item(Value("Owner"))->Value().ToText(), "ops");
  EXPECT_FALSE(ready->UpdateOccurred());
  EXPECT_FALSE(forms->IsFilterEnabled());
  EXPECT_EQ(forms->Count(), 2) << "appended to the view as it stood";
  EXPECT_EQ(forms->CurrentPosition(), 2);
  EXPECT_EQ(forms->AllForms().size(), 3u);
}

TEST(MessageValueCheck, AValueNoMessageCanCarryIsNamed) {
  MessageValueCheck check;
  check.Validate("Text", Value("a < b & \xff"));
  IncidentFormRef form = IncidentForm::Create();
  const std::string text = RaisedDescription([&] { check.Validate("Obj", Value(ObjectRef(form))); });
  EXPECT_EQ(text.rfind("There was a problem validating the attribute 'Obj': The description of the error was '", 0), 0u)
      << text;
  form->Finalize();
}

class IncidentFormsFilter : public FormsFixture {
 protected:
  IncidentFormsFilter() {
    cDrive = Report("CDrive", "Full", AlertOn, {Value("Priority:=3"), Value("Owner:=ops")});
    cache = Report("Cache", "Full", AlertOn, {Value("Priority:=1"), Value("Owner:=ops")});
    dDrive = Report("DDrive", "Full", AlertOn, {Value("Priority:=3"), Value("Owner:=dev")});
    forms->SetConfigMoniker("CpuLoad");
    cpu = Report("CPU0", "Busy", AlertOn, {Value("Priority:=3")});
    forms->SetConfigMoniker("DiskSpace");
  }
  std::vector<IncidentFormRef> Shown() { return {forms->begin(), forms->end()}; }
  using Forms = std::vector<IncidentFormRef>;

  IncidentFormRef cDrive, cache, dDrive, cpu;
};

TEST_F(IncidentFormsFilter, ExpressionsSelectAmongTheConfigurationsForms) {
  forms->SetFilter({});
  EXPECT_EQ(Shown(), (Forms{cDrive, cache, dDrive}));
  EXPECT_FALSE(forms->IsFilterEnabled()) << "only the moniker row";

  forms->SetFilterString("Priority=3&&Resource~=c");
  EXPECT_EQ(Shown(), (Forms{cDrive}));
  EXPECT_TRUE(forms->IsFilterEnabled());

  forms->SetFilterString("Priority=3 &&Resource~=C");
  EXPECT_TRUE(Shown().empty()) << "the blank stays in the value 3";

  forms->SetFilterString("ConfigMoniker=ALL&&Priority=3");
  EXPECT_EQ(Shown(), (Forms{cDrive, dDrive, cpu}));
  EXPECT_FALSE(forms->IsFilterEnabled());

  forms->SetFilterString("Resource in {ddrive, CDRIVE}");
  EXPECT_EQ(Shown(), (Forms{cDrive, dDrive}));
  forms->SetFilterString("Resource NOT IN {CDrive}");
  EXPECT_EQ(Shown(), (Forms{cache, dDrive}));
  forms->SetFilterString("Resource not ~=C&&Owner<>ops");
  EXPECT_EQ(Shown(), (Forms{dDrive}));
  forms->SetFilterString("  Owner=ops  ");
  EXPECT_EQ(Shown(), (Forms{cDrive, cache})) << "the whole string is trimmed";

  forms->ResetFilter();
  EXPECT_EQ(Shown(), (Forms{cDrive, cache, dDrive}));
  EXPECT_FALSE(forms->IsFilterEnabled());
  EXPECT_TRUE(Texts("DevSvcErr").empty());
}

TEST_F(IncidentFormsFilter, AssignmentsGoToWhatIsShownOrToEveryFormWhenNothingIs) {
  forms->SetFilterString("Priority:=4");
  EXPECT_EQ(cDrive->Priority(), 4);
  EXPECT_EQ(cache->Priority(), 4);
  EXPECT_EQ(cpu->Priority(), 3) << "the moniker row selects this configuration";

  forms->SetFilterString("Resource=nothing&&Priority:=9&&Owner:=night");
  EXPECT_EQ(cpu->Priority(), 9) << "an assignment that matches nothing goes to every form";
  EXPECT_EQ(dDrive->GetAttributes()->Item(Value("Owner"))->Value().ToText(), "night");

  forms->SetFilterString("Resource=CDrive&&AlertStatus:=ALERTOFF");
  EXPECT_EQ(cDrive->AlertStatus(), AlertOnce) << "the narrower table of assignments";
  forms->SetFilterString("Resource=CDrive&&AlertStatus:=off&&ProcessedByMM:=True&&KeyAttributes:=a, b");
  EXPECT_EQ(cDrive->AlertStatus(), AlertOff);
  EXPECT_TRUE(cDrive->ProcessedByMM());
  EXPECT_EQ(cDrive->KeyAttributes(), "a,b");
  forms->SetFilterString("Resource=CDrive&&OccurrenceTimeUTC:=2024-02-01 10:00:00");
  EXPECT_EQ(cDrive->OccurrenceTimeUTC(), *OleDate::FromCivil(2024, 2, 1, 10));
}

TEST_F(IncidentFormsFilter, FailuresNameEveryRoutineTheyPassed) {
  forms->SetLogManager(nullptr);
  for (const IncidentFormRef& form : forms->AllForms()) form->SetLogManager(nullptr);
  EXPECT_EQ(RaisedDescription([&] { forms->SetFilterString(""); }, kErrSubscriptRange),
            "IncidentForms.SetFilterString: Subscript out of range");
  EXPECT_EQ(RaisedDescription([&] { forms->SetFilterString("Resource=CDrive&&OccurrenceTime:=soon"); }),
            "IncidentForms.SetFilterString: IncidentForms.FilterForms: IncidentForms.SetEquality: OccurrenceTime must "
            "be convertable to Date format");
  EXPECT_EQ(RaisedDescription([&] { forms->SetFilterString("Resource=CDrive&&Missing:=1"); }),
            "IncidentForms.SetFilterString: IncidentForms.FilterForms: IncidentForms.SetEquality: Attributes.Item: "
            "Could Not Find The 'Missing' Attribute.  Please Verify That This Attribute Exists.");
  EXPECT_EQ(RaisedDescription([&] { forms->SetFilter({Value("Resource")}); }),
            "IncidentForms.SetFilter: IncidentForms.FilterForms: IncidentForms.ParseAttrArrayForItem: All Dynamic "
            "Attributes Must Be In The Format x=y, x<>y, x~=y, x not ~=y, x in {y}, x not in {y} or x:=y");

  forms->SetLogManager(log);
  forms->SetFilterString("");
  EXPECT_EQ(Texts("DevSvcErr"), std::vector<std::string>{"IncidentForms.SetFilterString: Subscript out of range"});
}

TEST_F(IncidentFormsFilter, TheFirstOperatorFoundDecidesHowAnExpressionReads) {
  struct Case {
    const char* expression;
    const char* key;
    const char* value;
    int32_t code;
  };
  const Case cases[] = {
      {"a=b:=c", "a=b", "c", kFilterAssign},        {"x<>y=z", "x", "y=z", kFilterNotEquals},
      {"x not ~=y", "x", "y", kFilterNotBeginsWith}, {"x Not In {a,b}", "x", "a,b", kFilterNotInSet},
      {"x in {a,b", "x", "a,b", kFilterInSet},      {"x~=y", "x", "y", kFilterBeginsWith},
      {" x = y ", " x ", " y ", kFilterEquals},
  };
  for (const Case& c : cases) {
    std::string key;
    std::string value;
    int32_t code = -1;
    forms->ParseAttrArrayForItem({Value(c.expression)}, 0, key, value, code);
    EXPECT_EQ(key, c.key) << c.expression;
    EXPECT_EQ(value, c.value) << c.expression;
    EXPECT_EQ(code, c.code) << c.expression;
  }
  std::string key;
  std::string value;
  int32_t code = -1;
  forms->ParseAttrArrayForItem({Value("x=y")}, 1, key, value, code);
  EXPECT_EQ(Texts("DevSvcErr"),
            std::vector<std::string>{"IncidentForms.ParseAttrArrayForItem: Attribute Index Greater Than Passed Parameters"});
}

TEST_F(IncidentFormsFilter, WithTheEnginesFlagFormsThatFailTheFilterAreDroppedForGood) {
  forms->SetRemoveUnmatched(true);
  forms->SetFilterString("Priority=3");
  forms->SetRemoveUnmatched(false);
  EXPECT_EQ(Shown(), (Forms{cDrive, dDrive}));
  EXPECT_EQ(forms->AllForms(), (Forms{cDrive, dDrive, cpu})) << "another configuration's forms stay";
  EXPECT_EQ(cache->GetAttributes()->Parent(), nullptr) << "finalized when dropped";

  forms->Remove({Value("Priority=3")});
  EXPECT_EQ(forms->AllForms().empty(), true) << "Remove has no moniker row";
}

class IncidentFormsCursor : public IncidentFormsFilter {};

TEST_F(IncidentFormsCursor, TheCursorKeepsItsArithmetic) {
  forms->MoveFirst();
  EXPECT_TRUE(forms->OnFirstForm());
  forms->MoveNext();
  forms->MoveNext();
  forms->MoveNext();
  EXPECT_EQ(forms->CurrentPosition(), 4) << "one past the end";
  EXPECT_TRUE(forms->PastLastForm());
  forms->MoveNext();
  EXPECT_EQ(forms->CurrentPosition(), 4) << "and no further";
  EXPECT_EQ(forms->CurrentForm(), dDrive) << "pulled back to the last form";
  EXPECT_EQ(forms->CurrentPosition(), 3);
  forms->MovePrevious();
  forms->MovePrevious();
  forms->MovePrevious();
  EXPECT_EQ(forms->CurrentPosition(), 1);
  forms->MoveLast();
  EXPECT_EQ(forms->CurrentForm(), dDrive);

  // A view rebuilt by a filter keeps the position it had: 0 here.
  forms->SetConfigMoniker("Nothing");
  EXPECT_TRUE(forms->PastLastForm());
  EXPECT_FALSE(forms->OnFirstForm());
  forms->SetFilterString("ConfigMoniker=ALL");
  EXPECT_EQ(forms->Count(), 4);
  EXPECT_EQ(forms->CurrentForm(), nullptr);
  forms->MoveNext();
  EXPECT_EQ(forms->CurrentForm(), cache) << "from 0 MoveNext lands on 2";

  forms->ResetFilter();
  EXPECT_EQ(forms->Count(), 0);
  EXPECT_EQ(forms->CurrentPosition(), 0);
  forms->SetFilterString("ConfigMoniker=ALL");
  forms->MovePrevious();
  EXPECT_EQ(forms->CurrentForm(), cDrive) << "from 0 MovePrevious stays on 1";
  forms->SetConfigMoniker("Nothing");
  forms->SetFilterString("ConfigMoniker=ALL");
  EXPECT_EQ(forms->CurrentPosition(), 1) << "reading the position moves it into range";
}

TEST_F(IncidentFormsCursor, RemovingTheCurrentFormEndsTheFilter) {
  forms->SetFilterString("Priority=3");
  forms->MoveNext();
  ASSERT_EQ(forms->CurrentForm(), dDrive);
  forms->RemoveCurrentForm();
  EXPECT_FALSE(forms->IsFilterEnabled());
  EXPECT_EQ(Shown(), (Forms{cDrive, cache}));
  EXPECT_EQ(forms->CurrentForm(), cDrive);
  EXPECT_EQ(dDrive->Resource(), "%%DELETEME%%");
  EXPECT_EQ(dDrive->GetAttributes()->Parent(), nullptr);
  EXPECT_EQ(forms->AllForms().size(), 3u);

  // The engine's removal walk: each removal moves on by itself.
  forms->MoveFirst();
  while (!forms->PastLastForm()) forms->RemoveCurrentForm();
  EXPECT_EQ(forms->AllForms(), (Forms{cpu}));
}

TEST_F(IncidentFormsCursor, EnumerationRebuildsAnUnfilteredViewAndClearingFinalizesEveryForm) {
  forms->SetFilterString("ConfigMoniker=ALL");
  EXPECT_EQ(forms->Count(), 4);
  EXPECT_EQ(forms->NewEnum(), (Forms{cDrive, cache, dDrive})) << "no filter in force: the moniker's forms";
  forms->SetFilterString("Priority=1");
  EXPECT_EQ(forms->NewEnum(), (Forms{cache}));

  forms->SetConfigMoniker("  ");
  EXPECT_EQ(forms->ConfigMoniker(), "Global");
  forms->SetConfigMoniker("all");
  EXPECT_EQ(forms->Count(), 4) << "moniker ALL shows every form";

  forms->ClearForms();
  EXPECT_EQ(forms->Count(), 0);
  EXPECT_TRUE(forms->AllForms().empty());
  for (const IncidentFormRef& form : {cDrive, cache, dDrive, cpu}) EXPECT_EQ(form->GetAttributes()->Parent(), nullptr);
}

TEST_F(IncidentFormsCursor, PropertiesByNameAndTheRetainedOnes) {
  EXPECT_EQ(forms->GetProperty("count").ToLong(), 3);
  EXPECT_EQ(forms->GetProperty("ConfigMoniker").ToText(), "DiskSpace");
  EXPECT_TRUE(forms->GetProperty("MaxIncidents").IsEmpty());
  EXPECT_EQ(forms->GetProperty("UTCNow").ToDate(), clock->UtcNow());
  ASSERT_NE(forms->GetTrackedObjects(), nullptr);
  EXPECT_EQ(forms->GetTrackedObjects()->Count(), 0);
  forms->CallMethod("MoveLast");
  EXPECT_EQ(forms->GetProperty("CurrentPosition").ToLong(), 3);
}

}  // namespace
}  // namespace korad
