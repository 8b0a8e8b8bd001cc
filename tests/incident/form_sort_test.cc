// The order in which reports are merged, and the merge run over many random reports
// against the plain scan it stands for.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "forms_fixture.h"
#include "incident/form_merge.h"

namespace korad {
namespace {

using testing::FakeClock;
using testing::RecordingLogManager;
using testing::ScopedPlatformClock;

IncidentForms::FormList FormsAt(const std::vector<double>& minutes) {
  IncidentForms::FormList list;
  for (double minute : minutes) {
    IncidentFormRef form = IncidentForm::Create();
    form->SetOccurrenceTimeUTC(FakeClock::DefaultStart().AddSeconds(minute * 60));
    list.push_back(form);
  }
  return list;
}

void FinalizeAll(const IncidentForms::FormList& list) {
  for (const IncidentFormRef& form : list) form->Finalize();
}

TEST(FormSort, ByTimeBetweenTheGivenPositionsAndEqualTimesInTheOrderTheQuicksortLeaves) {
  IncidentForms forms;
  const IncidentForms::FormList arrival = FormsAt({0, 0, 0, 0});
  IncidentForms::FormList list = arrival;
  forms.QuickSortForms2(list, 1, 4);
  // Not stable: which of several equal reports survives a merge depends on this order.
  EXPECT_EQ(list, (IncidentForms::FormList{arrival[2], arrival[3], arrival[0], arrival[1]}));

  list = {arrival[0], arrival[1]};
  forms.QuickSortForms2(list, 1, 2);
  EXPECT_EQ(list, (IncidentForms::FormList{arrival[1], arrival[0]}));

  // Sorts by time between the given positions only.
  const IncidentForms::FormList mixed = FormsAt({9, 5, 7, 1, 3});
  list = mixed;
  forms.QuickSortForms2(list, 2, 4);
  EXPECT_EQ(list, (IncidentForms::FormList{mixed[0], mixed[3], mixed[1], mixed[2], mixed[4]}));

  std::mt19937 random(7);
  std::vector<double> minutes(300);
  for (double& minute : minutes) minute = static_cast<double>(random() % 40);
  const IncidentForms::FormList many = FormsAt(minutes);
  list = many;
  forms.QuickSortForms2(list, 1, static_cast<int32_t>(list.size()));
  EXPECT_TRUE(std::is_sorted(list.begin(), list.end(), [](const auto& a, const auto& b) {
    return a->OccurrenceTimeUTC() < b->OccurrenceTimeUTC();
  }));
  EXPECT_TRUE(std::is_permutation(list.begin(), list.end(), many.begin()));
  FinalizeAll(arrival);
  FinalizeAll(mixed);
  FinalizeAll(many);
}

// ---- ReCalculateForms against the plain scan ----

// Random reports of a few incidents: resource and condition in two spellings, key
// attributes in any order, every status, processed and carried marks, equal times.
class ReportGenerator {
 public:
  explicit ReportGenerator(unsigned seed) : m_random(seed) {}

  struct Report {
    IncidentFormRef form;
    int32_t status;
    bool processed;
    bool carried;
    int16_t laterPriority;
  };

  Report Make(const LogManagerRef& log) {
    static const char* kResources[] = {"srvA", "SRVA", "srvB"};
    static const char* kConditions[] = {"Down", "DOWN", "Full"};
    static const char* kKeys[] = {"", "Drive", "Drive,Path", "Path,Drive", "Priority", "Drive,Priority"};
    static const char* kDrives[] = {"C", "c", "D"};
    static const int32_t kStatuses[] = {AlertOff, AlertOn, AlertOn, AlertOn, AlertOnce, AlertOffPending};
    IncidentFormRef form = IncidentForm::Create();
    form->SetLogManager(log);
    form->SetResource(kResources[Pick(3)]);
    form->SetCondition(kConditions[Pick(3)]);
    form->SetKeyAttributes(kKeys[Pick(6)]);
    form->SetPriority(static_cast<int16_t>(Pick(2)));
    if (Pick(5) != 0) form->GetAttributes()->Add("Drive", Value(kDrives[Pick(3)]));
    form->GetAttributes()->Add("Path", Value(Pick(2) ? "/var" : "/tmp"));
    if (Pick(2)) form->GetAttributes()->Add("Used", Value(static_cast<int32_t>(Pick(3))));
    form->SetOccurrenceTimeUTC(FakeClock::DefaultStart().AddSeconds(60.0 * Pick(6)));
    return Report{form, kStatuses[Pick(6)], Pick(2) == 1, Pick(4) == 0, static_cast<int16_t>(Pick(3))};
  }

  // What happens after a report joins the collection: the plug-in and the passes before.
  static void Apply(const Report& report) {
    IncidentForm& form = *report.form;
    form.SetAlertStatus(report.status);
    form.SetProcessedByMM(report.processed);
    form.SetMergeCarried(report.carried);
    form.SetPriority(report.laterPriority);
    for (const AttributeRef& attribute : *form.GetAttributes()) {
      attribute->SetRelevantToUpdates(attribute->Key() == "Used");
    }
  }

 private:
  uint32_t Pick(uint32_t n) { return m_random() % n; }
  std::mt19937 m_random;
};

struct Pass {
  std::shared_ptr<RecordingLogManager> log = std::make_shared<RecordingLogManager>();
  IncidentFormsRef forms = std::make_shared<IncidentForms>();
  std::vector<ReportGenerator::Report> reports;  // in arrival order

  explicit Pass(unsigned seed, int count) {
    forms->SetLogManager(log);
    ReportGenerator generator(seed);
    for (int i = 0; i < count; ++i) reports.push_back(generator.Make(log));
  }
  IncidentForms::FormList Arrival() const {
    IncidentForms::FormList list;
    for (const auto& report : reports) list.push_back(report.form);
    return list;
  }
  std::vector<std::string> FormLines() const {
    std::vector<std::string> lines;
    for (const auto& line : log->Lines()) {
      if (line.category != "MergeForms" || line.text.rfind("MergeForms (", 0) == 0) {
        lines.push_back(line.category + "|" + line.text);
      }
    }
    return lines;
  }
};

// The merge run step for step, every form tried against every later one.
IncidentForms::FormList PlainReCalculate(Pass& pass) {
  IncidentForms& forms = *pass.forms;
  // The view in sorted order, which the collection builds only inside ReCalculateForms.
  IncidentForms::FormList sorted = pass.Arrival();
  forms.QuickSortForms2(sorted, 1, static_cast<int32_t>(sorted.size()));
  for (const IncidentFormRef& form : sorted) forms.AddNewIncidentForm(form);
  for (const auto& report : pass.reports) ReportGenerator::Apply(report);
  pass.log->Clear();

  for (int32_t p = 0; forms.Count() > p;) {
    ++p;
    if (forms.CalculatePerformMerge(forms.Item(p), p)) --p;
  }
  IncidentForms::FormList left;
  for (const IncidentFormRef& form : pass.Arrival()) {
    if (form->AlertStatus() != 5) left.push_back(form);
  }
  forms.Remove({Value("AlertStatus=5")});
  for (int32_t n = static_cast<int32_t>(left.size()); n >= 1; --n) {
    const IncidentFormRef& form = left[n - 1];
    if (form->AlertStatus() == AlertOff) {
      for (int32_t k = n - 1; k >= 1; --k) {
        if (forms.CompareForms(form, left[k - 1]) && left[k - 1]->AlertStatus() == AlertOn) {
          left[k - 1]->SetAlertStatus(AlertOnce);
          left[k - 1]->SetOnceUpdateOccurred(true);
        }
      }
    } else if (n > 1 && form->AlertStatus() == AlertOn) {
      if (left[n - 2]->AlertStatus() == AlertOn && forms.CompareForms(form, left[n - 2])) {
        form->SetAlertStatus(AlertOnce);
        form->SetOnceUpdateOccurred(true);
      }
    }
  }
  return left;
}

// Every bit of a date: both runs do the same conversions, so nothing may differ.
std::string Exact(OleDate date) {
  char text[40];
  std::snprintf(text, sizeof text, "%a", date.Days());
  return text;
}

std::string Describe(const IncidentFormRef& form) {
  std::string text = form->Resource() + ":" + form->Condition() + " s" + std::to_string(form->AlertStatus()) +
                     " p" + std::to_string(form->ProcessedByMM()) + " c" + std::to_string(form->MergeCarried()) +
                     " o" + std::to_string(form->OnceUpdateOccurred()) + " u" +
                     std::to_string(form->UpdateOccurred()) + " pr" + std::to_string(form->Priority()) + " t" +
                     Exact(form->OccurrenceTimeUTC()) + " m" + Exact(form->PotentialMergedOccurrenceTimeUTC());
  for (const AttributeRef& attribute : *form->GetAttributes()) {
    text += " " + attribute->Key() + "=" + attribute->Value().ToText();
  }
  return text;
}

TEST(ReCalculateEquivalence, TheMergeEndsAsThePlainScanWouldOverRandomPasses) {
  ScopedPlatformClock clock(std::make_shared<FakeClock>(FakeClock::DefaultStart(), 90));
  for (unsigned seed = 1; seed <= 40; ++seed) {
    Pass fast(seed, 120);
    Pass plain(seed, 120);
    for (const auto& report : fast.reports) fast.forms->AddNewIncidentForm(report.form);
    for (const auto& report : fast.reports) ReportGenerator::Apply(report);
    fast.log->Clear();
    fast.forms->ReCalculateForms();
    const IncidentForms::FormList expected = PlainReCalculate(plain);

    ASSERT_EQ(fast.forms->Count(), static_cast<int32_t>(expected.size())) << "seed " << seed;
    for (int32_t i = 1; i <= fast.forms->Count(); ++i) {
      ASSERT_EQ(Describe(fast.forms->Item(i)), Describe(expected[static_cast<size_t>(i - 1)]))
          << "seed " << seed << " position " << i;
    }
    // The same merges in the same order, and the same lines of the forms.
    ASSERT_EQ(fast.FormLines(), plain.FormLines()) << "seed " << seed;
  }
}

}  // namespace
}  // namespace korad
