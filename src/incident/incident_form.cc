#include "incident/incident_form.h"

#include "foundation/global_functions.h"
#include "platform/date_time_converter.h"

namespace korad {

const std::vector<std::string>& IncidentForm::StandardAttributeNames() {
  // "OCCURRENCETIMEUNIVERSAL" has no property: the failure to set or read it is what
  // keeps the word reserved.
  static const std::vector<std::string> names = {
      "RESOURCE",      "CONDITION",   "PRIORITY",      "OCCURRENCETIME", "OCCURRENCETIMEUTC",
      "OCCURRENCETIMEUNIVERSAL", "ALERTSTATUS", "CONFIGMONIKER", "KEYATTRIBUTES",  "PROCESSEDBYMM"};
  return names;
}

IncidentForm::IncidentForm(Passkey) {
  Guard("IncidentForm.Class_Initialize: ", [&] {
    m_attributes = std::make_shared<Attributes>();
    const OleDate now = UTCNow();
    m_occurrenceTimeUTC = now;
    m_potentialMergedOccurrenceTimeUTC = now;
  });
}

std::shared_ptr<IncidentForm> IncidentForm::Create() {
  auto form = std::make_shared<IncidentForm>(Passkey{});
  form->m_attributes->SetParent(form);
  form->m_attributes->SetParentStandardAttributes(StandardAttributeNames());
  return form;
}

IncidentForm::~IncidentForm() {
  try {
    if (m_attributes) m_attributes->RemoveAll();
  } catch (...) {
    // A form at its end has no one left to tell.
  }
}

void IncidentForm::SetResource(std::string_view resource) {
  Guard("IncidentForm.Resource(Let): ", [&] {
    m_resource = StripSpaces(resource);
    if (m_resource.empty()) RaiseLibraryError("Resource cannot be empty");
  });
}

void IncidentForm::SetCondition(std::string_view condition) {
  Guard("IncidentForm.Condition(Let): ", [&] {
    m_condition = StripSpaces(condition);
    if (m_condition.empty()) RaiseLibraryError("Condition cannot be empty");
  });
}

void IncidentForm::SetKeyAttributes(std::string_view names) { m_keyAttributes = StripSpaces(names); }

OleDate IncidentForm::OccurrenceTime() const { return DateTimeConverter().UtcToLocal(m_occurrenceTimeUTC); }

void IncidentForm::SetOccurrenceTime(OleDate local) {
  if (const LogManagerRef& log = GetLogManager()) {
    log->Log("Local Occurrence Time Called (IncidentForm.OccurrenceTime(Let)", "ObsoleteDate", logLevelInfo);
  }
  if (!local.IsZero()) m_occurrenceTimeUTC = DateTimeConverter().LocalToUtc(local);
}

void IncidentForm::SetPriority(int16_t priority) {
  if (priority != m_priority) m_updateOccurred = true;
  m_priority = priority;
}

void IncidentForm::SetPolls(int32_t& field, int32_t polls, std::string_view name) {
  if (polls != field) {
    if (const LogManagerRef& log = GetLogManager()) {
      log->Log(std::string(name) + " (" + m_resource + ":" + m_condition + ") set to " + std::to_string(polls) +
                   " from " + std::to_string(field),
               name, logLevelDebug);
    }
  }
  field = polls;
}

void IncidentForm::SetMVSendAlertPolls(int32_t polls) { SetPolls(m_sendAlertPolls, polls, "MVSendAlertPolls"); }

void IncidentForm::SetMVResolveAlertPolls(int32_t polls) {
  SetPolls(m_resolveAlertPolls, polls, "MVResolveAlertPolls");
}

void IncidentForm::SetAlertStatus(int32_t status) {
  if (status != m_alertStatus && (status == AlertOn || status == AlertOnce) && m_resolveAlertPolls != kPollsUnset) {
    m_resolveAlertPolls = kPollsUnset;  // directly, without its own log line
    if (const LogManagerRef& log = GetLogManager()) {
      log->Log("AlertStatus (" + m_resource + ":" + m_condition + ") set to " + std::to_string(status) + " from " +
                   std::to_string(static_cast<int32_t>(m_alertStatus)) +
                   ": SendAlertPolls = " + std::to_string(m_sendAlertPolls) +
                   " ResolveAlertPolls = " + std::to_string(m_resolveAlertPolls),
               "AlertStatus", logLevelDebug);
    }
  }
  m_alertStatus = static_cast<AlertStatusEnum>(status);
}

void IncidentForm::Finalize() {
  Guard("IncidentForm.Finalize: ", [&] {
    if (m_attributes) m_attributes->SetParent(nullptr);
  });
}

void IncidentForm::SetLogManager(LogManagerRef logManager) {
  Guard("IncidentForm.LogManager(Let): ", [&] {
    ErrorReporter::SetLogManager(logManager);
    if (m_attributes) m_attributes->SetLogManager(logManager);
  });
}

bool IncidentForm::UpdateOccurred() const {
  bool result = false;
  Guard("IncidentForm.UpdateOccurred(Get): ", [&] {
    result = m_updateOccurred || (m_attributes && m_attributes->UpdateOccurred());
  });
  return result;
}

void IncidentForm::ResetUpdateOccurred() {
  Guard("IncidentForm.ResetUpdateOccurred: ", [&] {
    m_updateOccurred = false;
    if (m_attributes) m_attributes->SetUpdateOccurred(false);
  });
}

const DispatchTable<IncidentForm>& IncidentForm::Dispatch() {
  static const DispatchTable<IncidentForm> table = [] {
    DispatchTable<IncidentForm> t;
    using F = IncidentForm;
    t.Property("Resource", [](F& f) { return Value(f.Resource()); },
               [](F& f, const Value& v) { f.SetResource(v.ToText()); });
    t.Property("Condition", [](F& f) { return Value(f.Condition()); },
               [](F& f, const Value& v) { f.SetCondition(v.ToText()); });
    t.Property("OccurrenceTimeUTC", [](F& f) { return Value(f.OccurrenceTimeUTC()); },
               [](F& f, const Value& v) { f.SetOccurrenceTimeUTC(v.ToDate()); });
    t.Property("OccurrenceTime", [](F& f) { return Value(f.OccurrenceTime()); },
               [](F& f, const Value& v) { f.SetOccurrenceTime(v.ToDate()); });
    t.Property("Priority", [](F& f) { return Value(f.Priority()); },
               [](F& f, const Value& v) { f.SetPriority(v.ToInteger()); });
    t.Property("Attributes", [](F& f) { return Value(ObjectRef(f.GetAttributes())); },
               [](F& f, const Value& v) { f.SetAttributes(std::dynamic_pointer_cast<Attributes>(v.ToObject())); });
    t.Property("AlertStatus", [](F& f) { return Value(static_cast<int32_t>(f.AlertStatus())); },
               [](F& f, const Value& v) { f.SetAlertStatus(v.ToLong()); });
    t.Property("KeyAttributes", [](F& f) { return Value(f.KeyAttributes()); },
               [](F& f, const Value& v) { f.SetKeyAttributes(v.ToText()); });
    t.Property("ConfigMoniker", [](F& f) { return Value(f.ConfigMoniker()); },
               [](F& f, const Value& v) { f.SetConfigMoniker(v.ToText()); });
    t.Property("ProcessedByMM", [](F& f) { return Value(f.ProcessedByMM()); },
               [](F& f, const Value& v) { f.SetProcessedByMM(v.ToBoolean()); });
    t.Property("MVSendAlertPolls", [](F& f) { return Value(f.MVSendAlertPolls()); },
               [](F& f, const Value& v) { f.SetMVSendAlertPolls(v.ToLong()); });
    t.Property("MVResolveAlertPolls", [](F& f) { return Value(f.MVResolveAlertPolls()); },
               [](F& f, const Value& v) { f.SetMVResolveAlertPolls(v.ToLong()); });
    t.Property("AlertAfterRetryCount", [](F& f) { return Value(f.AlertAfterRetryCount()); },
               [](F& f, const Value& v) { f.SetAlertAfterRetryCount(v.ToLong()); });
    t.Call("Finalize", [](F& f) {
      f.Finalize();
      return Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
