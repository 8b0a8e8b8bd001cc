// The rules by which the reports of one incident are folded into one form, shared by the
// merge routines of IncidentForms (form_merge.cc).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "incident/incident_form.h"

namespace korad {

// What CalculatePerformMerge does with the first later report that is the same incident,
// by the statuses S1, S2 and the ProcessedByMM marks P1, P2 of the two forms; the first
// row that applies wins.
enum class MergeRow {
  A,  // on (processed) then off: merge, the off report's time becomes the potential resolve time
  B,  // on (unprocessed) then off in the same poll: both stay, the off form is marked processed
  C,  // on then on, the first processed or carried: merge, the later time is noted
  D,  // on then on, neither: both stay, the later one carries on and is marked updated
  E,  // off then off: merge
  F,  // off pending then anything but once: merge
  G,  // anything but once then off pending: merge, keeping the first status
  H,  // all else, any pair with an AlertOnce form: nothing
};

MergeRow ClassifyMerge(const IncidentForm& form1, const IncidentForm& form2);

// "|A||B|" for the key attributes "a,b": each upper-cased name between two bars; empty for
// a form without key attributes.
std::string KeyAttributeString(std::string_view keyAttributes);

// The candidates of CalculatePerformMerge during one ReCalculateForms, so that a run over
// many reports needn't test every later form against every form. CompareForms is False for
// a form whose upper-cased resource or condition differs and for a merged form (status 5),
// without touching either; a merge copies resource and condition only between forms that
// already agree on them, and a merged form stays merged. So the forms of the same group,
// merged ones skipped, are all the forms the plain scan could stop at, in the same order.
class MergeIndex {
 public:
  // `forms` is the sorted view; it must not be reordered while the index is in use.
  explicit MergeIndex(const std::vector<IncidentFormRef>& forms);

  // The first 1-based position after `position` in the group of the form at `position`
  // whose form isn't merged; Count + 1 when there is none.
  int32_t NextCandidate(int32_t position);
  // The position before `position` in its group, 0 when there is none.
  int32_t PreviousInGroup(int32_t position) const { return m_previous[static_cast<size_t>(position)]; }

 private:
  bool IsMerged(int32_t position) const;

  const std::vector<IncidentFormRef>& m_forms;
  // By 1-based position: the next position of the same group, Count + 1 at the end.
  // Links over merged forms are shortened as they are walked.
  std::vector<int32_t> m_next;
  std::vector<int32_t> m_previous;
};

}  // namespace korad
