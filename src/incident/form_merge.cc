// IncidentForms: the merge of one configuration's reports, the comparison of two forms and
// the CRC that tells whether a form changed since it was last sent.
#include "incident/form_merge.h"

#include <limits>
#include <unordered_map>

#include "foundation/global_functions.h"
#include "incident/incident_forms.h"
#include "platform/encrypter.h"
#include "platform/platform.h"

namespace korad {
namespace {

constexpr std::string_view kMergeCategory = "MergeForms";
constexpr int32_t kMerged = IncidentForms::kMergedStatus;

// The host's checked 32-bit addition.
int32_t CheckedAdd(int32_t a, int32_t b) {
  int32_t sum = 0;
  if (__builtin_add_overflow(a, b, &sum)) RaiseRuntimeError(kErrOverflow);
  return sum;
}

int16_t Negated(int16_t value) {
  if (value == std::numeric_limits<int16_t>::min()) RaiseRuntimeError(kErrOverflow);
  return static_cast<int16_t>(-value);
}

std::string ValueText(const AttributeRef& attribute) {
  if (!attribute) RaiseRuntimeError(kErrObjectRequired);
  return attribute->Value().ToText();
}

std::string Identity(const IncidentForm& form) {
  return UpperAscii(form.Resource()) + '\0' + UpperAscii(form.Condition());
}

}  // namespace

// ---- Rules ----

MergeRow ClassifyMerge(const IncidentForm& form1, const IncidentForm& form2) {
  const int32_t s1 = form1.AlertStatus();
  const int32_t s2 = form2.AlertStatus();
  const bool p1 = form1.ProcessedByMM();
  if (s1 == AlertOn && s2 == AlertOff) return p1 ? MergeRow::A : MergeRow::B;
  if (s1 == AlertOn && s2 == AlertOn) return (p1 || form1.MergeCarried()) ? MergeRow::C : MergeRow::D;
  if (s1 == AlertOff && s2 == AlertOff) return MergeRow::E;
  if (s1 != AlertOnce && s2 != AlertOnce) {
    if (s1 == AlertOffPending) return MergeRow::F;
    if (s2 == AlertOffPending) return MergeRow::G;
  }
  return MergeRow::H;
}

std::string KeyAttributeString(std::string_view keyAttributes) {
  std::string keys = "|" + ReplaceText(UpperAscii(keyAttributes), ",", "||") + "|";
  return keys == "||" ? std::string() : keys;
}

MergeIndex::MergeIndex(const std::vector<IncidentFormRef>& forms)
    : m_forms(forms),
      m_next(forms.size() + 2, static_cast<int32_t>(forms.size()) + 1),
      m_previous(forms.size() + 2, 0) {
  std::unordered_map<std::string, int32_t> lastOfGroup;
  for (int32_t position = 1; position <= static_cast<int32_t>(forms.size()); ++position) {
    const IncidentFormRef& form = forms[static_cast<size_t>(position - 1)];
    if (!form) continue;  // equal to nothing: a group of its own
    auto [it, isNew] = lastOfGroup.try_emplace(Identity(*form), position);
    if (!isNew) {
      m_next[static_cast<size_t>(it->second)] = position;
      m_previous[static_cast<size_t>(position)] = it->second;
      it->second = position;
    }
  }
}

bool MergeIndex::IsMerged(int32_t position) const {
  const IncidentFormRef& form = m_forms[static_cast<size_t>(position - 1)];
  return form && form->AlertStatus() == kMerged;
}

int32_t MergeIndex::NextCandidate(int32_t position) {
  const int32_t end = static_cast<int32_t>(m_forms.size()) + 1;
  int32_t found = m_next[static_cast<size_t>(position)];
  while (found < end && IsMerged(found)) found = m_next[static_cast<size_t>(found)];
  // Merged forms stay merged, so the links walked over can point past them for good.
  for (int32_t step = m_next[static_cast<size_t>(position)]; step != found;) {
    const int32_t after = m_next[static_cast<size_t>(step)];
    m_next[static_cast<size_t>(step)] = found;
    step = after;
  }
  m_next[static_cast<size_t>(position)] = found;
  return found;
}

// ---- IncidentForms routines ----

bool IncidentForms::CompareForms(const IncidentFormRef& sourceForm, const IncidentFormRef& destinationForm) {
  bool result = false;
  Guard("IncidentForms.CompareForms: ", [&] {
    if (!sourceForm || !destinationForm) return;
    if (sourceForm->AlertStatus() == kMerged || destinationForm->AlertStatus() == kMerged) return;
    if (!EqualsNoCase(sourceForm->Resource(), destinationForm->Resource()) ||
        !EqualsNoCase(sourceForm->Condition(), destinationForm->Condition())) {
      return;
    }
    std::string ka = KeyAttributeString(sourceForm->KeyAttributes());
    std::string kb = KeyAttributeString(destinationForm->KeyAttributes());
    Attributes& a = *sourceForm->GetAttributes();
    Attributes& b = *destinationForm->GetAttributes();
    while (!ka.empty()) {
      // The token is a name between two bars; the rest starts at the second bar of the pair.
      std::string token;
      const size_t pair = ka.find("||");
      if (pair == std::string::npos) {
        token = std::move(ka);
        ka.clear();
      } else {
        token = ka.substr(0, pair + 1);
        ka.erase(0, pair + 1);
      }
      if (NormalizeKey(token).empty()) continue;
      if (kb.find(token) == std::string::npos) return;
      const std::string name = ReplaceText(token, "|", "");
      if (!a.Exists(name) || !b.Exists(name)) return;
      if (UpperAscii(ValueText(a.Item(Value(name)))) != UpperAscii(ValueText(b.Item(Value(name))))) return;
      kb = ReplaceText(kb, token, "");
    }
    // Both forms must name the same keys.
    result = kb.empty();
  });
  return result;
}

void IncidentForms::MergeForms(const IncidentFormRef& form1, const IncidentFormRef& form2) {
  Guard("IncidentForms.MergeForms: ", [&] {
    if (form1->Priority() != form2->Priority()) form1->SetPriority(form2->Priority());
    if (form1->Resource() != form2->Resource()) form1->SetResource(form2->Resource());
    if (form1->Condition() != form2->Condition()) form1->SetCondition(form2->Condition());
    if (form1->AlertStatus() != form2->AlertStatus()) form1->SetAlertStatus(form2->AlertStatus());
    Trace("MergeForms (" + form1->Resource() + ":" + form1->Condition() + ") AlertStatus set to " +
              std::to_string(form1->AlertStatus()) + " from " + std::to_string(form2->AlertStatus()),
          kMergeCategory, logLevelDebug);
    Attributes& target = *form1->GetAttributes();
    for (const AttributeRef& source : *form2->GetAttributes()) {
      if (target.Exists(source->Key())) {
        // The flag first, so that a relevant change marks form1 as updated.
        AttributeRef held = target.Item(Value(source->Key()));
        if (!held) RaiseRuntimeError(kErrObjectRequired);
        held->SetRelevantToUpdates(source->RelevantToUpdates());
        if (held->Value().ToText() != source->Value().ToText()) held->SetValue(source->Value());
      } else if (AttributeRef added = target.Add(source->Key(), source->Value())) {
        added->SetRelevantToUpdates(source->RelevantToUpdates());
      }
    }
  });
}

bool IncidentForms::CalculatePerformMerge(const IncidentFormRef& form, int32_t index) {
  return PerformMerge(form, index, nullptr);
}

bool IncidentForms::PerformMerge(const IncidentFormRef& form1, int32_t index, MergeIndex* mergeIndex) {
  bool result = false;
  Guard("IncidentForms.CalculatePerformMerge: ", [&] {
    // A merged form equals nothing, and nothing else would happen below.
    if (mergeIndex && form1 && form1->AlertStatus() == kMerged) return;
    bool merge = false;
    bool dateNoted = false;
    OleDate notedDate;
    const int32_t count = Count();
    int32_t position = mergeIndex ? mergeIndex->NextCandidate(index) : index + 1;
    for (; position <= count; position = mergeIndex ? mergeIndex->NextCandidate(position) : position + 1) {
      const IncidentFormRef form2 = Item(position);
      if (!CompareForms(form1, form2)) continue;
      switch (ClassifyMerge(*form1, *form2)) {
        case MergeRow::A:
          merge = true;
          form1->SetPotentialMergedOccurrenceTimeUTC(form2->OccurrenceTimeUTC());
          form1->SetMergeCarried(false);
          break;
        case MergeRow::B:
          form2->SetProcessedByMM(true);
          form1->SetMergeCarried(false);
          Trace("IncidentForms.CalculatePerformMerge: OnOffSamePoll Form 1 Date: " +
                    FormatDate(form1->OccurrenceTimeUTC()) + " :  Form 2 Date: " +
                    FormatDate(form2->OccurrenceTimeUTC()),
                "Merge", logLevelDebug);
          break;
        case MergeRow::C:
          merge = true;
          form2->SetMergeCarried(true);
          notedDate = form2->OccurrenceTime();
          dateNoted = true;
          break;
        case MergeRow::D:
          form1->SetMergeCarried(false);
          form2->SetMergeCarried(true);
          if (!form2->ProcessedByMM()) {
            // Leaves the priority as it was and marks the form updated.
            form2->SetProcessedByMM(true);
            if (form2->Priority() != 0) {
              form2->SetPriority(Negated(form2->Priority()));
              form2->SetPriority(Negated(form2->Priority()));
            } else {
              form2->SetPriority(1);
              form2->SetPriority(0);
            }
            form2->SetProcessedByMM(false);
          }
          break;
        case MergeRow::E:
          merge = true;
          break;
        case MergeRow::F:
          merge = true;
          if (form2->AlertStatus() == AlertOn) {
            notedDate = form2->OccurrenceTime();
            dateNoted = true;
          } else {
            form1->SetOccurrenceTime(form2->OccurrenceTime());
          }
          break;
        case MergeRow::G: {
          merge = true;
          form2->SetAlertStatus(form1->AlertStatus());
          const bool updated = form1->UpdateOccurred();
          form1->SetProcessedByMM(form2->ProcessedByMM());
          if (!updated) form1->ResetUpdateOccurred();
          break;
        }
        case MergeRow::H:
          break;
      }
      break;  // the merge never looks past the first equal form
    }
    if (position <= count && merge) {
      MergeForms(form1, Item(position));
      Item(position)->SetAlertStatus(kMerged);
      m_currentPosition = index;
      result = true;
    }
    // A form's time moves forward to a later report only if that report brought a change.
    if (form1->GetAttributes()->UpdateOccurred() && dateNoted) form1->SetOccurrenceTime(notedDate);
  });
  return result;
}

void IncidentForms::ReCalculateForms() {
  Guard("IncidentForms.ReCalculateForms: ", [&] {
    // Every step logs: the routine is meant to run with a log manager only.
    if (!GetLogManager()) RaiseRuntimeError(kErrObjectRequired);
    const int32_t count = Count();
    const std::string counted = " (Count = " + std::to_string(count) + ")";
    Trace("RecalculateForms : Begin" + counted, kMergeCategory, logLevelDebug);
    if (count >= 1) {
      QuickSortForms2(m_currentForms, 1, count);
      Trace("RecalculateForms : Merging forms" + counted, kMergeCategory, logLevelDebug);
      {
        MergeIndex index(m_currentForms);
        for (int32_t position = 0; Count() > position;) {
          ++position;
          // After a merge the same form is tried against the next report.
          if (PerformMerge(Item(position), position, &index)) --position;
        }
      }
      Trace("RecalculateForms : Merged forms" + counted, kMergeCategory, logLevelDebug);
      Remove({Value("AlertStatus=5")});  // also resets the filter: the view is in arrival order again
      Trace("RecalculateForms : Merged forms" + counted, kMergeCategory, logLevelDebug);
      MarkOnceForms();
    }
    Trace("RecalculateForms : End", kMergeCategory, logLevelDebug);
  });
}

void IncidentForms::MarkOnceForms() {
  // An off report makes every equal earlier on-form an AlertOnce, and of two adjacent
  // equal on-forms the later becomes an AlertOnce. Forms of another group compare unequal
  // without side effects, so only the group is walked.
  const MergeIndex groups(m_currentForms);
  for (int32_t n = Count(); n >= 1; --n) {
    Trace("RecalculateForms : nFormLoop = " + std::to_string(n), kMergeCategory, logLevelDebug);
    const IncidentFormRef form = Item(n);
    if (form->AlertStatus() == AlertOff) {
      for (int32_t k = groups.PreviousInGroup(n); k >= 1; k = groups.PreviousInGroup(k)) {
        const IncidentFormRef& earlier = Item(k);
        const bool equal = CompareForms(form, earlier);
        if (equal && earlier->AlertStatus() == AlertOn) {
          earlier->SetAlertStatus(AlertOnce);
          earlier->SetOnceUpdateOccurred(true);
        }
      }
    } else if (n > 1 && form->AlertStatus() == AlertOn) {
      const IncidentFormRef& before = Item(n - 1);
      const bool beforeOn = before->AlertStatus() == AlertOn;
      if (CompareForms(form, before) && beforeOn) {
        Trace("RecalculateForms : Form Compare Successful", kMergeCategory, logLevelDebug);
        form->SetAlertStatus(AlertOnce);
        form->SetOnceUpdateOccurred(true);
      }
    }
  }
}

void IncidentForms::CalculateFormCRC(const IncidentFormRef& form) {
  Guard("IncidentForms.CalculateFormCRC: ", [&] {
    Encrypter& encrypter = Platform::Current().GetEncrypter();
    const std::string who = "CalculateFormCRC (" + form->Resource() + ":" + form->Condition() + ") ";
    Attributes& attributes = *form->GetAttributes();
    // An acknowledgement counts only when "Ack" is "TRUE".
    bool ackMode = false;
    if (attributes.Exists("Ack") && UpperAscii(ValueText(attributes.Item(Value("Ack")))) == "TRUE") {
      ackMode = true;
      Trace(who + "ACK = TRUE found, Ack variables will count", "CalculateFormCRC", logLevelDebug);
    }
    int32_t sum = 0;
    for (const AttributeRef& attribute : attributes) {
      const std::string upperKey = UpperAscii(attribute->Key());
      const bool ackKey = upperKey == "ACK" || upperKey == "ACKUSER" || upperKey == "ACKTIMEUNIVERSAL";
      const std::string text = LowerAscii(attribute->Key()) + LowerAscii(attribute->Value().ToText());
      const int32_t partial = (!ackKey || ackMode) ? encrypter.Crc(text) : 0;
      sum = CheckedAdd(sum, partial);
      Trace(who + "Partial CRC for " + text + " = " + std::to_string(partial), "CalculateFormCRC", logLevelDebug);
    }
    sum = CheckedAdd(sum, encrypter.Crc("priority" + std::to_string(form->Priority())));
    Trace(who + "CRC set to " + std::to_string(sum), "CalculateFormCRC", logLevelDebug);
    form->SetPropertiesCRC(sum);
  });
}

}  // namespace korad
