// IncidentForms: filters. A filter is a list of expressions, each a test on a form's
// attributes or an assignment; the forms that pass every test make the view.
#include "incident/incident_forms.h"

namespace korad {
namespace {

constexpr std::string_view kAllMonikers = "CONFIGMONIKER=ALL";

// The narrower status table of assignments: "ALERTOFF" reads as 2 here.
int32_t AssignedAlertStatus(std::string_view value) {
  const std::string upper = UpperAscii(value);
  if (upper == "0" || upper == "OFF") return AlertOff;
  if (upper == "1" || upper == "ON") return AlertOn;
  if (upper == "3" || upper == "OFFPENDING") return AlertOffPending;
  return AlertOnce;
}

// The text as a date; a failure other than a type mismatch leaves the property alone.
std::optional<OleDate> AssignedDate(std::string_view value, std::string_view property) {
  try {
    return Value(value).ToDate();
  } catch (const Error& e) {
    if (e.Number() == kErrTypeMismatch) RaiseLibraryError(std::string(property) + " must be convertable to Date format");
  }
  return std::nullopt;
}

}  // namespace

void IncidentForms::SetFilter(const std::vector<Value>& expressions) {
  Guard("IncidentForms.SetFilter: ", [&] { ApplyFilter(expressions); });
}

void IncidentForms::SetFilterString(std::string_view inString) {
  Guard("IncidentForms.SetFilterString: ", [&] {
    std::vector<Value> expressions;
    // Pieces as they stand: a blank before "&&" stays in the value before it.
    std::string_view rest = TrimBlanks(inString);
    while (!rest.empty()) {
      const size_t at = rest.find("&&");
      if (at == std::string_view::npos) {
        expressions.emplace_back(rest);
        rest = {};
      } else {
        expressions.emplace_back(rest.substr(0, at));
        rest.remove_prefix(at + 2);
      }
    }
    // Nothing to split leaves the list unmade, and using it fails.
    if (expressions.empty()) RaiseRuntimeError(kErrSubscriptRange);
    ApplyFilter(expressions);
  });
}

void IncidentForms::ApplyFilter(std::vector<Value> expressions) {
  bool allMonikers = false;
  for (Value& expression : expressions) {
    if (UpperAscii(expression.ToText()) == kAllMonikers) {
      expression = Value(std::string());
      allMonikers = true;
    }
  }
  bool enabled = false;
  if (!allMonikers && !NormalizeKey(m_configMoniker).empty()) {
    expressions.emplace_back("ConfigMoniker=" + m_configMoniker);
    // Only when the caller gave an expression of its own.
    enabled = expressions.size() > 1;
  }
  FilterForms(expressions, false);
  m_isFilterEnabled = enabled;
}

void IncidentForms::FilterForms(const std::vector<Value>& expressions, bool remove) {
  Guard("IncidentForms.FilterForms: ", [&] {
    if (expressions.empty()) {
      if (remove) {
        ClearForms();
      } else {
        ResetFilter();
      }
      return;
    }
    std::vector<FilterRow> table(expressions.size());
    // Kept across elements, as a parse that fails under a log manager leaves them.
    std::string key;
    std::string value;
    int32_t code = kFilterEquals;
    bool assignment = false;
    for (size_t i = 0; i < expressions.size(); ++i) {
      if (expressions[i].ToText().empty()) continue;  // a row of empty strings
      ParseAttrArrayForItem(expressions, static_cast<int32_t>(i), key, value, code);
      table[i] = FilterRow{std::string(TrimBlanks(key)), value, code};
      if (code == kFilterAssign) assignment = true;
    }
    ProcessMatchingForms(table, remove);
    if (assignment) {
      // An assignment that matches nothing goes to every form of every configuration.
      SetEquality(m_currentForms.empty() ? m_allForms : m_currentForms, table);
    }
  });
}

bool IncidentForms::MatchesAll(IncidentForm& form, const std::vector<FilterRow>& table, std::string& rowMoniker) {
  Attributes& attributes = *form.GetAttributes();
  bool match = true;
  for (const FilterRow& row : table) {
    if (EqualsNoCase(row.key, "CONFIGMONIKER")) rowMoniker = row.value;
    if (row.key.empty()) continue;
    bool result = false;
    switch (row.code) {
      case kFilterEquals:
        result = attributes.Exists(row.key, Value(row.value));
        break;
      case kFilterNotEquals:
        result = !attributes.Exists(row.key, Value(row.value));
        break;
      case kFilterAssign:
        continue;
      case kFilterBeginsWith:
        result = attributes.BeginsWith(row.key, row.value);
        break;
      case kFilterInSet:
        result = attributes.InSet(row.key, row.value);
        break;
      case kFilterNotInSet:
        result = !attributes.InSet(row.key, row.value);
        break;
      case kFilterNotBeginsWith:
        result = !attributes.BeginsWith(row.key, row.value);
        break;
      default:
        RaiseLibraryError("Unexpected Comparison Operator");
    }
    // Every row is tested, also after a failed one.
    match = match && result;
  }
  return match;
}

void IncidentForms::ProcessMatchingForms(const std::vector<FilterRow>& table, bool remove) {
  Guard("IncidentForms.ProcessMatchingForms: ", [&] {
    m_currentForms.clear();
    std::vector<size_t> noted;
    if (!table.empty()) {
      for (size_t i = 0; i < m_allForms.size(); ++i) {
        const IncidentFormRef& form = m_allForms[i];
        std::string rowMoniker;
        if (MatchesAll(*form, table, rowMoniker)) {
          if (remove) {
            noted.push_back(i);
          } else {
            m_currentForms.push_back(form);
          }
        } else if (m_removeUnmatched && EqualsNoCase(form->ConfigMoniker(), rowMoniker)) {
          noted.push_back(i);
        }
      }
    }
    DropForms(noted);
  });
}

void IncidentForms::SetEquality(const FormList& forms, const std::vector<FilterRow>& table) {
  Guard("IncidentForms.SetEquality: ", [&] {
    for (const FilterRow& row : table) {
      if (row.code != kFilterAssign) continue;
      for (const IncidentFormRef& form : forms) AssignTo(*form, row);
    }
  });
}

void IncidentForms::AssignTo(IncidentForm& form, const FilterRow& row) {
  const std::string key = UpperAscii(row.key);
  if (key == "ALERTSTATUS") {
    form.SetAlertStatus(AssignedAlertStatus(row.value));
  } else if (key == "RESOURCE") {
    form.SetResource(row.value);
  } else if (key == "CONDITION") {
    form.SetCondition(row.value);
  } else if (key == "CONFIGMONIKER") {
    form.SetConfigMoniker(row.value);
  } else if (key == "KEYATTRIBUTES") {
    form.SetKeyAttributes(row.value);
  } else if (key == "PROCESSEDBYMM") {
    form.SetProcessedByMM(Value(row.value).ToBoolean());
  } else if (key == "PRIORITY") {
    form.SetPriority(Value(row.value).ToInteger());
  } else if (key == "OCCURRENCETIME") {
    if (auto when = AssignedDate(row.value, "OccurrenceTime")) form.SetOccurrenceTime(*when);
  } else if (key == "OCCURRENCETIMEUTC") {
    if (auto when = AssignedDate(row.value, "OccurrenceTimeUTC")) form.SetOccurrenceTimeUTC(*when);
  } else {
    // A missing attribute fails in Item; under a log manager Item answers nothing instead.
    AttributeRef attribute = form.GetAttributes()->Item(Value(row.key));
    if (!attribute) RaiseRuntimeError(kErrObjectRequired);
    attribute->SetValue(Value(row.value));
  }
}

void IncidentForms::ResetFilter() {
  Guard("IncidentForms.ResetFilter: ", [&] {
    m_currentForms.clear();
    const bool all = EqualsNoCase(m_configMoniker, "ALL");
    for (const IncidentFormRef& form : m_allForms) {
      if (all || EqualsNoCase(form->ConfigMoniker(), m_configMoniker)) m_currentForms.push_back(form);
    }
    m_currentPosition = m_currentForms.empty() ? 0 : 1;
    m_isFilterEnabled = false;
  });
}

void IncidentForms::SetConfigMoniker(std::string_view moniker) {
  Guard("IncidentForms.ConfigMoniker(Let): ", [&] {
    m_configMoniker = NormalizeKey(moniker).empty() ? std::string(kGlobalMoniker) : std::string(moniker);
    ResetFilter();
  });
}

void IncidentForms::Remove(const std::vector<Value>& expressions) {
  Guard("IncidentForms.Remove: ", [&] {
    FilterForms(expressions, true);
    ResetFilter();
  });
}

}  // namespace korad
