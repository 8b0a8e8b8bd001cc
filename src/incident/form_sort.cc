// IncidentForms: the sort of the reports by time before a merge. The quicksort is kept
// step for step as it has always been, for it decides the order of reports with equal
// times, and with that which report a merge keeps.
#include "incident/incident_forms.h"

namespace korad {
namespace {

using FormList = IncidentForms::FormList;

// The form at a 1-based position of the array.
IncidentFormRef& At(FormList& forms, int32_t position) {
  if (position < 1 || position > static_cast<int32_t>(forms.size())) RaiseRuntimeError(kErrSubscriptRange);
  return forms[static_cast<size_t>(position - 1)];
}

bool Earlier(const IncidentFormRef& a, const IncidentFormRef& b) {
  return a->OccurrenceTimeUTC() < b->OccurrenceTimeUTC();
}

void SortByOccurrence(FormList& forms, int32_t low, int32_t high) {
  int32_t i = low;
  int32_t j = high;
  const IncidentFormRef pivot = At(forms, (low + high) / 2);
  while (i <= j) {
    while (Earlier(At(forms, i), pivot) && i < high) ++i;
    while (Earlier(pivot, At(forms, j)) && j > low) --j;
    if (i > j) break;
    if (i != j) std::swap(At(forms, i), At(forms, j));
    ++i;
    --j;
  }
  if (low < j) SortByOccurrence(forms, low, j);
  if (i < high) SortByOccurrence(forms, i, high);
}

}  // namespace

void IncidentForms::QuickSortForms2(FormList& list, int32_t low, int32_t high) {
  const std::string count = std::to_string(list.size());
  Trace("QuickSortForms2: Copy to array " + count, "MergeForms", logLevelDebug);
  FormList sorted = list;
  Trace("QuickSortForms2: Sort " + count, "MergeForms", logLevelDebug);
  SortByOccurrence(sorted, low, high);
  Trace("QuickSortForms2: Clear old collection " + count, "MergeForms", logLevelDebug);
  list.clear();
  Trace("QuickSortForms2: Repopulate collection " + count, "MergeForms", logLevelDebug);
  list = std::move(sorted);
}

}  // namespace korad
