// IncidentForms: construction, adding forms, the two expression parsers and removal.
#include "incident/incident_forms.h"

#include <algorithm>

#include "foundation/global_functions.h"
#include "incident/message_value_check.h"
#include "incident/tracked_objects.h"

namespace korad {
namespace {

constexpr std::string_view kDeleteMark = "%%DELETEME%%";

// Finds `op` in `text`, ignoring ASCII case.
size_t FindNoCase(std::string_view text, std::string_view op) {
  const std::string upperText = UpperAscii(text);
  return upperText.find(UpperAscii(op));
}

bool EndsWith(std::string_view text, std::string_view tail) {
  return text.size() >= tail.size() && text.substr(text.size() - tail.size()) == tail;
}

}  // namespace

IncidentForms::IncidentForms() {
  Guard("IncidentForms.Class_Initialize: ", [&] {
    m_initialAttributes = std::make_shared<Attributes>();
    m_trackedObjects = std::make_shared<korad::TrackedObjects>();
  });
}

IncidentForms::~IncidentForms() {
  try {
    Guard("IncidentForms.Class_Terminate: ", [&] {
      for (const IncidentFormRef& form : m_currentForms) form->Finalize();
      m_currentForms.clear();
      for (const IncidentFormRef& form : m_allForms) form->Finalize();
      m_allForms.clear();
      if (m_initialAttributes) m_initialAttributes->RemoveAll();
      m_initialAttributes.reset();
      m_trackedObjects.reset();
    });
  } catch (...) {
    // A collection at its end has no caller left to tell.
  }
}

void IncidentForms::Trace(std::string_view text, std::string_view category, KORADSLog_Level level) const {
  if (const LogManagerRef& log = GetLogManager()) log->Log(text, category, level);
}

const IncidentFormRef& IncidentForms::Item(int32_t position) const {
  if (position < 1 || position > Count()) RaiseRuntimeError(kErrSubscriptRange);
  return m_currentForms[static_cast<size_t>(position - 1)];
}

OleDate IncidentForms::UTCNow() const { return korad::UTCNow(); }

void IncidentForms::SetTrackedObjects(std::shared_ptr<korad::TrackedObjects> trackedObjects) {
  m_trackedObjects = std::move(trackedObjects);
}

IncidentFormRef IncidentForms::Add(std::string_view resource, std::string_view condition,
                                   const std::vector<Value>& attributes) {
  IncidentFormRef result;
  IncidentFormRef form;
  TrapErrors(
      "IncidentForms.Add: ",
      [&] {
        form = IncidentForm::Create();
        if (GetLogManager()) form->SetLogManager(GetLogManager());
        const AttributesRef& formAttributes = form->GetAttributes();
        if (m_initialAttributes) {
          for (const AttributeRef& initial : *m_initialAttributes) formAttributes->Add(initial->Key(), initial->Value());
        }
        if (!condition.empty()) form->SetCondition(condition);
        if (!resource.empty()) form->SetResource(resource);
        if (form->Resource().empty() || form->Condition().empty()) {
          RaiseLibraryError("Both resource and condition must contain characters");
        }
        // Kept across elements: an element that fails to parse under a log manager leaves
        // the pair of the one before.
        std::string key;
        Value value;
        for (int32_t i = 0; i < static_cast<int32_t>(attributes.size()); ++i) {
          ParseAttrArrayForAdd(attributes, i, key, value);
          formAttributes->Add(key, value);
        }
        AddNewIncidentForm(form);
        result = form;
      },
      [&](const std::string& description, int32_t number) {
        // Finalized before the report, which may raise: a form dropped here is never freed otherwise.
        if (form && !result) form->Finalize();
        ReportError(description, number, true);
      });
  return result;
}

void IncidentForms::AddNewIncidentForm(const IncidentFormRef& form) {
  if (!form) RaiseRuntimeError(kErrObjectRequired);
  MessageValueCheck check;
  form->SetConfigMoniker(m_configMoniker);
  const AttributesRef& formAttributes = form->GetAttributes();
  if (m_initialAttributes) {
    for (const AttributeRef& initial : *m_initialAttributes) {
      if (formAttributes->Exists(initial->Key())) continue;
      check.Validate(initial->Key(), initial->Value());
      formAttributes->Add(initial->Key(), initial->Value());
    }
  }
  // What a form comes with is no update.
  form->ResetUpdateOccurred();
  AppendForm(form);
}

void IncidentForms::AppendForm(const IncidentFormRef& form) {
  m_allForms.push_back(form);
  m_currentForms.push_back(form);
  m_isFilterEnabled = false;
  m_currentPosition = Count();
}

void IncidentForms::ParseAttrArrayForAdd(const std::vector<Value>& expressions, int32_t index, std::string& key,
                                         Value& value) {
  Guard("IncidentForms.ParseAttrArrayForAdd: ", [&] {
    if (index > static_cast<int32_t>(expressions.size()) - 1) {
      RaiseLibraryError("Attribute Index Greater Than Passed Parameters");
    }
    const std::string element = expressions[static_cast<size_t>(index)].ToText();
    const size_t at = element.find(":=");
    if (at == std::string::npos) RaiseLibraryError("All Dynamic Attributes Must Be In The Format x:=y");
    key = element.substr(0, at);
    value = Value(element.substr(at + 2));
  });
}

void IncidentForms::ParseAttrArrayForItem(const std::vector<Value>& expressions, int32_t index, std::string& key,
                                          std::string& value, int32_t& code) {
  Guard("IncidentForms.ParseAttrArrayForItem: ", [&] {
    if (index > static_cast<int32_t>(expressions.size()) - 1) {
      RaiseLibraryError("Attribute Index Greater Than Passed Parameters");
    }
    const std::string element = expressions[static_cast<size_t>(index)].ToText();
    // The first operator of this fixed order that occurs anywhere wins, so "a=b:=c" is an
    // assignment to the key "a=b".
    struct Operator {
      std::string_view text;
      int32_t code;
      bool ignoreCase;
      bool braced;
    };
    static constexpr Operator kOperators[] = {
        {":=", kFilterAssign, false, false},         {"<>", kFilterNotEquals, false, false},
        {" not ~=", kFilterNotBeginsWith, false, false}, {" not in {", kFilterNotInSet, true, true},
        {" in {", kFilterInSet, true, true},         {"~=", kFilterBeginsWith, false, false},
        {"=", kFilterEquals, false, false},
    };
    for (const Operator& op : kOperators) {
      const size_t at = op.ignoreCase ? FindNoCase(element, op.text) : element.find(op.text);
      if (at == std::string::npos) continue;
      key = element.substr(0, at);
      std::string_view rest = std::string_view(element).substr(at + op.text.size());
      if (op.braced && EndsWith(element, "}")) rest.remove_suffix(1);
      value = std::string(rest);
      code = op.code;
      return;
    }
    RaiseLibraryError(
        "All Dynamic Attributes Must Be In The Format x=y, x<>y, x~=y, x not ~=y, x in {y}, x not in {y} or x:=y");
  });
}

void IncidentForms::RemoveForm(IncidentFormRef form) {
  Guard("IncidentForms.RemoveForm: ", [&] {
    if (!form) RaiseRuntimeError(kErrObjectRequired);
    form->SetResource(kDeleteMark);
    form->SetCondition(kDeleteMark);
    Remove({Value("Resource=" + std::string(kDeleteMark)), Value("Condition=" + std::string(kDeleteMark))});
    form->Finalize();
    form.reset();
  });
}

void IncidentForms::ClearForms() {
  Guard("IncidentForms.ClearForms: ", [&] {
    m_currentForms.clear();
    // Emptying the list is what releases the forms, and here that takes a Finalize of each:
    // reference counting alone would never free a form and its Attributes.
    for (const IncidentFormRef& form : m_allForms) form->Finalize();
    m_allForms.clear();
    m_currentPosition = 0;
  });
}

void IncidentForms::DropForms(const std::vector<size_t>& positions) {
  if (positions.empty()) return;
  // Removing each noted position in turn, shifted by the removals before it, comes to
  // dropping the set at once.
  std::vector<bool> dropped(m_allForms.size(), false);
  for (size_t position : positions) {
    m_allForms[position]->Finalize();
    dropped[position] = true;
  }
  size_t kept = 0;
  for (size_t i = 0; i < m_allForms.size(); ++i) {
    if (!dropped[i]) m_allForms[kept++] = std::move(m_allForms[i]);
  }
  m_allForms.resize(kept);
}

const DispatchTable<IncidentForms>& IncidentForms::Dispatch() {
  static const DispatchTable<IncidentForms> table = [] {
    DispatchTable<IncidentForms> t;
    using F = IncidentForms;
    t.Property("Count", [](F& f) { return Value(f.Count()); });
    t.Property("CurrentPosition", [](F& f) { return Value(f.CurrentPosition()); });
    t.Property("IsFilterEnabled", [](F& f) { return Value(f.IsFilterEnabled()); });
    t.Property("ConfigMoniker", [](F& f) { return Value(f.ConfigMoniker()); });
    t.Property("ConfigurationName", [](F& f) { return Value(f.ConfigurationName()); });
    t.Property("MaxIncidents", [](F& f) { return f.MaxIncidents(); });
    t.Property("UTCNow", [](F& f) { return Value(f.UTCNow()); });
    t.Property("CurrentForm", [](F& f) { return Value(ObjectRef(f.CurrentForm())); });
    t.Property("OnFirstForm", [](F& f) { return Value(f.OnFirstForm()); });
    t.Property("PastLastForm", [](F& f) { return Value(f.PastLastForm()); });
    t.Property(
        "TrackedObjects", [](F& f) { return Value(ObjectRef(f.GetTrackedObjects())); },
        [](F& f, const Value& v) { f.SetTrackedObjects(std::dynamic_pointer_cast<korad::TrackedObjects>(v.ToObject())); });
    const auto call = [&t](std::string name, void (F::*method)()) {
      t.Call(std::move(name), [method](F& f) {
        (f.*method)();
        return Value();
      });
    };
    call("ResetFilter", &F::ResetFilter);
    call("MoveFirst", &F::MoveFirst);
    call("MoveLast", &F::MoveLast);
    call("MoveNext", &F::MoveNext);
    call("MovePrevious", &F::MovePrevious);
    call("RemoveCurrentForm", &F::RemoveCurrentForm);
    call("ReCalculateForms", &F::ReCalculateForms);
    return t;
  }();
  return table;
}

}  // namespace korad
