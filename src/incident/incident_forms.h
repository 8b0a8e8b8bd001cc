// IncidentForms: the forms of one monitor over all its configurations, with a cursor and a
// filter. A plug-in adds forms; the engine selects a configuration (ConfigMoniker), merges
// the pass's reports (ReCalculateForms) and walks what the filter shows. Filters are lists
// of small expressions ("Priority=3", "Resource~=C", "x in {a,b}", "x:=y" assigns).
//
// Forms and their Attributes form a reference cycle: every form this collection drops is
// finalized first, and a caller that drops a form it took out of here does the same.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "foundation/attributes.h"
#include "incident/incident_form.h"

namespace korad {

class TrackedObjects;
class MergeIndex;

// Operator codes of a filter expression.
enum FilterCode : int32_t {
  kFilterEquals = 0,         // x=y
  kFilterNotEquals = 1,      // x<>y
  kFilterAssign = 2,         // x:=y, no test
  kFilterBeginsWith = 3,     // x~=y
  kFilterInSet = 4,          // x in {y}
  kFilterNotInSet = 5,       // x not in {y}
  kFilterNotBeginsWith = 6,  // x not ~=y
};

// One parsed expression. An empty expression is a row of empty strings, passed over.
struct FilterRow {
  std::string key;
  std::string value;
  int32_t code = kFilterEquals;
};

class IncidentForms final : public Dispatchable<IncidentForms>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IncidentForms";
  // The moniker of a new collection, and of one told a blank moniker.
  static constexpr std::string_view kGlobalMoniker = "Global";
  // The status of a form merged into another and waiting for removal; never a real status.
  static constexpr int32_t kMergedStatus = 5;

  using FormList = std::vector<IncidentFormRef>;

  IncidentForms();
  ~IncidentForms() override;
  IncidentForms(const IncidentForms&) = delete;
  IncidentForms& operator=(const IncidentForms&) = delete;

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<IncidentForms>& Dispatch();

  // ---- Adding forms ----

  // A new form of the selected configuration: InitialAttributes first, then Condition and
  // Resource if not empty, then the "x:=y" elements of `attributes`. Null on failure (with
  // a log manager; without one the failure is raised), the half-made form finalized.
  IncidentFormRef Add(std::string_view resource, std::string_view condition, const std::vector<Value>& attributes = {});
  // Takes a ready form into the selected configuration: it gets the moniker and the
  // initial attributes it lacks, its update marks are cleared, and the filter ends with
  // the cursor on it. Raises when an initial attribute can't be represented in a message.
  void AddNewIncidentForm(const IncidentFormRef& form);
  // Reads an incident string, "[Incident]" text form or object map form, into a new form.
  // `resource` serves the error text only. False when nothing was read or on failure.
  bool CreateFormFromString(std::string_view incidentString, std::string_view resource);

  // ---- The view and its cursor ----

  // The forms the filter shows.
  int32_t Count() const noexcept { return static_cast<int32_t>(m_currentForms.size()); }
  // 1-based in the view; raises 9 outside 1..Count.
  const IncidentFormRef& Item(int32_t position) const;
  // Plain iteration over the view, with no side effect.
  FormList::const_iterator begin() const noexcept { return m_currentForms.begin(); }
  FormList::const_iterator end() const noexcept { return m_currentForms.end(); }
  // The enumerator plug-ins get: without a filter in force the view is first rebuilt for
  // the selected configuration. A copy, so that removals during the walk don't disturb it.
  FormList NewEnum();

  // Reading the cursor moves it into range: 0 for an empty view, else at least 1.
  int32_t CurrentPosition();
  // Null for an empty view or position 0; a position past the end is pulled back to Count.
  IncidentFormRef CurrentForm();
  void MoveFirst();
  void MoveLast();
  // From 0 the cursor lands on 2; it stops at Count + 1.
  void MoveNext();
  void MovePrevious();
  bool OnFirstForm();
  bool PastLastForm();
  // Removes the form under the cursor; the filter ends and the cursor is on the first form.
  void RemoveCurrentForm();

  // ---- Filters ----

  // Shows the forms of the selected configuration that pass every expression; "x:=y"
  // elements assign to what is shown. "ConfigMoniker=ALL" drops the moniker test.
  void SetFilter(const std::vector<Value>& expressions);
  // The same with the expressions joined by "&&". An empty string fails (9).
  void SetFilterString(std::string_view inString);
  // Shows every form of the selected configuration (all of them under moniker "ALL").
  void ResetFilter();
  bool IsFilterEnabled() const noexcept { return m_isFilterEnabled; }

  // ---- Properties ----

  const std::string& ConfigMoniker() const noexcept { return m_configMoniker; }
  // Internal. Selects a configuration (blank means "Global") and resets the filter.
  void SetConfigMoniker(std::string_view moniker);
  const std::string& ConfigurationName() const noexcept { return m_configurationName; }
  void SetConfigurationName(std::string name) { m_configurationName = std::move(name); }
  // Retained: reads Empty, ignores what it is told.
  Value MaxIncidents() const { return Value(); }
  void SetMaxIncidents(const Value&) {}
  OleDate UTCNow() const;
  const std::shared_ptr<korad::TrackedObjects>& GetTrackedObjects() const noexcept { return m_trackedObjects; }
  void SetTrackedObjects(std::shared_ptr<korad::TrackedObjects> trackedObjects);

  // ---- Internal ----

  // Every form of every configuration, in order of arrival.
  const FormList& AllForms() const noexcept { return m_allForms; }
  const FormList& CurrentForms() const noexcept { return m_currentForms; }
  const AttributesRef& InitialAttributes() const noexcept { return m_initialAttributes; }
  void SetInitialAttributes(AttributesRef attributes) { m_initialAttributes = std::move(attributes); }
  // The engine's flag: with it, a form of the filtered configuration that fails the
  // filter is removed for good, not only hidden.
  bool RemoveUnmatched() const noexcept { return m_removeUnmatched; }
  void SetRemoveUnmatched(bool remove) noexcept { m_removeUnmatched = remove; }

  // Removes (and finalizes) every form that passes the expressions, then resets the filter.
  void Remove(const std::vector<Value>& expressions);
  void RemoveForm(IncidentFormRef form);
  void ClearForms();
  void FilterForms(const std::vector<Value>& expressions, bool remove);
  void ProcessMatchingForms(const std::vector<FilterRow>& table, bool remove);
  // Applies the assignments of `table` to `forms`.
  void SetEquality(const FormList& forms, const std::vector<FilterRow>& table);
  // Element `index` of `expressions` as "key:=value".
  void ParseAttrArrayForAdd(const std::vector<Value>& expressions, int32_t index, std::string& key, Value& value);
  // Element `index` as a filter expression; the first operator found decides.
  void ParseAttrArrayForItem(const std::vector<Value>& expressions, int32_t index, std::string& key,
                             std::string& value, int32_t& code);

  // ---- Merge (form_merge.cc, form_sort.cc) ----

  // The same incident: same resource and condition, ignoring case, and the same key
  // attributes, named in any order, with values equal ignoring case.
  bool CompareForms(const IncidentFormRef& sourceForm, const IncidentFormRef& destinationForm);
  // Folds the reports of the selected configuration, oldest first, into one form per incident.
  void ReCalculateForms();
  // Copies form2 onto form1: priority, resource, condition, status and attributes.
  void MergeForms(const IncidentFormRef& form1, const IncidentFormRef& form2);
  // Decides about the first form after `index` in the view that equals `form`, merging it
  // into `form` when told to. True when it merged.
  bool CalculatePerformMerge(const IncidentFormRef& form, int32_t index);
  // Sorts `list` by OccurrenceTimeUTC between the 1-based positions low and high.
  void QuickSortForms2(FormList& list, int32_t low, int32_t high);
  // Stores in PropertiesCRC the sum of the CRCs of the form's attributes and priority.
  void CalculateFormCRC(const IncidentFormRef& form);

 private:
  // Logs through the collection's log manager when one is set.
  void Trace(std::string_view text, std::string_view category, KORADSLog_Level level) const;
  void AppendForm(const IncidentFormRef& form);
  // The common part of SetFilter and SetFilterString, without a handler of its own.
  void ApplyFilter(std::vector<Value> expressions);
  // Finalizes and drops the forms of AllForms at the given ascending positions (0-based).
  void DropForms(const std::vector<size_t>& positions);
  bool MatchesAll(IncidentForm& form, const std::vector<FilterRow>& table, std::string& rowMoniker);
  void AssignTo(IncidentForm& form, const FilterRow& row);
  // CalculatePerformMerge with candidates found through `index` when given; the result is
  // the one of the plain scan.
  bool PerformMerge(const IncidentFormRef& form, int32_t index, MergeIndex* mergeIndex);
  void MarkOnceForms();

  FormList m_allForms;
  FormList m_currentForms;
  bool m_isFilterEnabled = false;
  bool m_removeUnmatched = false;
  int32_t m_currentPosition = 0;
  std::string m_configMoniker{kGlobalMoniker};
  AttributesRef m_initialAttributes;
  std::string m_configurationName;
  std::shared_ptr<korad::TrackedObjects> m_trackedObjects;
};

using IncidentFormsRef = std::shared_ptr<IncidentForms>;

}  // namespace korad
