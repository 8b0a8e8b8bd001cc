// SetIncidents: pass by pass, for each form of one configuration, whether an incident is
// sent, held back or dropped. A plug-in only says what it sees now; the alert and resolve
// delays, the update test and the duplicate suppression across configurations live here,
// in the forms' poll counters, which the form file keeps across restarts.
#include <cmath>
#include <string>

#include "contracts/text.h"
#include "foundation/configuration.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/string_functions.h"
#include "incident/incident_forms.h"
#include "monitor/engine_text.h"
#include "monitor/monitor_manager.h"
#include "platform/application_object.h"

namespace korad {
namespace {

constexpr int32_t kPollsDone = -1;
constexpr int32_t kPollsUnset = IncidentForm::kPollsUnset;
constexpr int32_t kIncidentTimeToLive = 1209600;  // 14 days
constexpr int32_t kHeartbeatTimeToLive = 1200;
constexpr int32_t kHeartbeatPriority = -2;
constexpr std::string_view kStatusCategory = "SendIncident";

int32_t TruncatedNumber(const Configuration& configuration) {
  return static_cast<int32_t>(std::trunc(Value(configuration.Value()).ToDouble()));
}

void AddIfMissing(IncidentForm& form, std::string_view key, const std::string& value) {
  Attributes& attributes = *form.GetAttributes();
  if (!attributes.Exists(key)) attributes.Add(key, Value(value));
}

const char* AuditVerb(AlertStatusEnum status) {
  switch (status) {
    case AlertOff:
      return "stopped";
    case AlertOn:
      return "started";
    case AlertOnce:
      return "occurred";
    case AlertOffPending:
      return "stopped (is not occurring)";
  }
  return "?";
}

// How the delay lines name a form.
std::string AboutForm(const IncidentForm& form) {
  return "Incident with Resource '" + form.Resource() + "' and Condition '" + form.Condition() + "'(" +
         form.ConfigMoniker() + ")";
}

bool IsSystemHeartbeat(const std::string& condition) {
  const std::string upper = UpperAscii(condition);
  return upper == "SYSTEMHEARTBEATON" || upper == "SYSTEMHEARTBEATON(RESOLVED)";
}

// What the operator reads in the agent's activity log: resource, condition and key attributes.
std::string AuditText(IncidentForm& form) {
  std::string text = form.Resource() + ";" + form.Condition();
  for (const std::string_view name : SplitNonEmpty(form.KeyAttributes(), ',')) {
    text += ";" + std::string(name) + "=" + AttributeText(form, name).value_or("");
  }
  return text;
}

}  // namespace

void MonitorManager::ResumingSteps::Failed(const std::string& description, int32_t number) {
  m_manager.ReportError(description, number);
  if (m_current) m_current->SetProcessedByMM(false);
  m_result = false;
}

Value MonitorManager::SetIncidents(std::shared_ptr<IncidentForms>& incidentForms,
                                   const std::vector<Value>& configList,
                                   std::shared_ptr<Configurations>& configurations) {
  bool result = true;
  const std::string moniker = configList.empty() ? std::string() : configList.front().ToText();
  const std::string head = "SetIncidents(" + moniker + "): ";
  IncidentFormRef current;
  ResumingSteps step(*this, current, result);

  Trace("Starting SetIncidents (" + moniker + ")");
  if (configList.empty()) return Value(true);
  IncidentForms& forms = *incidentForms;
  DecisionSettings settings;
  // The "Global" section has no forms of its own: only the removal runs for it.
  if (NormalizeKey(moniker) != "GLOBAL") {
    step([&] {
      forms.SetConfigMoniker(moniker);
      Trace("SetIncidents: Processing Configuration " + moniker);
      Trace(head + "Count Before - " + std::to_string(forms.Count()));
    });
    step([&] {
      m_eventTypeMode = 0;
      m_updCond.clear();
      m_resCond.clear();
      if (!configurations) return;
      const std::string remembered = configurations->ConfigMoniker();
      try {
        ReadDecisionKeys(*configurations, moniker, settings);
      } catch (...) {
        configurations->SetConfigMoniker(remembered);
        throw;
      }
      configurations->SetConfigMoniker(remembered);
    });
    step([&] { ApplyFilter(forms, settings, head); });
    if (settings.hasEntityId) step([&] { SendDataCollection(settings.entityId, incidentForms); });
    DecideForms(incidentForms, settings, head, current, step);
  }
  RemoveFinishedForms(forms, head, current, step);
  if (!settings.filter.empty()) step([&] { forms.ResetFilter(); });
  return Value(result);
}

void MonitorManager::ApplyFilter(IncidentForms& forms, const DecisionSettings& settings, const std::string& head) {
  Trace(head + "mvFilter = " + settings.filter);
  if (settings.filter.empty()) return;
  // What the filter doesn't pass leaves the configuration for good.
  forms.SetRemoveUnmatched(true);
  try {
    forms.SetFilterString(settings.filter);
  } catch (...) {
    forms.SetRemoveUnmatched(false);
    throw;
  }
  forms.SetRemoveUnmatched(false);
  Trace(head + "Count with mvFilter = " + std::to_string(forms.Count()));
}

void MonitorManager::DecideForms(std::shared_ptr<IncidentForms>& incidentForms, const DecisionSettings& settings,
                                 const std::string& head, IncidentFormRef& current, ResumingSteps& step) {
  IncidentForms& forms = *incidentForms;
  bool noOtherConfiguration = false;
  step([&] { forms.MoveFirst(); });
  while (true) {
    bool past = true;
    step([&] { past = forms.PastLastForm(); });
    if (past) break;
    step([&] { current = forms.CurrentForm(); });
    if (current) DecideForm(current, forms, settings, head, noOtherConfiguration, step);
    current.reset();
    step([&] { forms.MoveNext(); });
  }
}

// Forms that are done with and not alerted leave the open set.
void MonitorManager::RemoveFinishedForms(IncidentForms& forms, const std::string& head, IncidentFormRef& current,
                                         ResumingSteps& step) {
  step([&] { forms.MoveFirst(); });
  while (true) {
    bool past = true;
    step([&] { past = forms.PastLastForm(); });
    if (past) break;
    bool removed = false;
    step([&] {
      current = forms.CurrentForm();
      if (!current) return;
      Trace(head + "Form Removal Check: " + current->Resource() + ": " + current->Condition() + ": " +
            std::to_string(current->AlertStatus()) + ": " + BoolText(current->ProcessedByMM()));
      if (current->ProcessedByMM() && current->AlertStatus() != AlertOn) {
        Trace(head + "Removing this form");
        current.reset();
        forms.RemoveCurrentForm();
        removed = true;
      }
    });
    current.reset();
    if (!removed) {
      // A cursor that can't move would hold the walk for ever.
      bool moved = false;
      step([&] {
        forms.MoveNext();
        moved = true;
      });
      if (!moved) break;
    }
  }
}

void MonitorManager::ReadDecisionKeys(Configurations& config, const std::string& moniker,
                                      DecisionSettings& settings) {
  config.SetConfigMoniker(moniker);
  if (config.Exists("mvFilter")) settings.filter = config.Item("mvFilter")->Value();
  if (config.Exists("mvSingle")) {
    const std::string single = UpperAscii(config.Item("mvSingle")->Value());
    if (single == "STATE") m_eventTypeMode |= 1;
    if (single == "NOSTATE") m_eventTypeMode |= 2;
    if (config.Exists("mvResCond")) m_resCond = config.Item("mvResCond")->Value();
    if (config.Exists("mvUpdCond")) m_updCond = config.Item("mvUpdCond")->Value();
    if (!m_resCond.empty()) m_eventTypeMode |= 4;
    if (!m_updCond.empty()) m_eventTypeMode |= 8;
  }
  if (config.Exists("mvWaitAlert")) settings.waitAlert = TruncatedNumber(*config.Item("mvWaitAlert"));
  if (config.Exists("mvWaitResolve")) settings.waitResolve = TruncatedNumber(*config.Item("mvWaitResolve"));
  if (config.Exists("mvEntityID")) {
    settings.hasEntityId = true;
    settings.entityId = TruncatedNumber(*config.Item("mvEntityID"));
  }
}

void MonitorManager::DecideForm(const IncidentFormRef& formRef, IncidentForms& forms,
                                const DecisionSettings& settings, const std::string& head,
                                bool& noOtherConfiguration, ResumingSteps& step) {
  IncidentForm& form = *formRef;
  bool updatePending = false;
  step([&] {
    updatePending = form.UpdateOccurred();
    FillEngineAttributes(form, forms.ConfigMoniker(), head);
  });
  step([&] { TakeBackAcknowledgement(form, head); });
  step([&] {
    // A plug-in marks forms whose changes are never to be reported.
    if (form.GetAttributes()->Exists("mvNoUpdate")) updatePending = false;
    if (!updatePending) form.ResetUpdateOccurred();
  });
  bool skip = false;
  step([&] { CountDelays(formRef, forms, settings, head, skip); });
  if (!skip) {
    bool sendDone = false;
    step([&] { sendDone = SendForm(formRef, forms, head, noOtherConfiguration); });
    if (sendDone) {
      step([&] {
        if (form.ProcessedByMM() && form.MVSendAlertPolls() == 0) form.SetMVSendAlertPolls(kPollsDone);
      });
      step([&] {
        // What was last sent is what the update test compares with on later passes.
        if (form.AlertStatus() == AlertOn && !m_incidentString.empty()) forms.CalculateFormCRC(formRef);
      });
    }
  }
  step([&] {
    Trace(head + "ResetUpdateOccurred");
    form.ResetUpdateOccurred();
  });
}

void MonitorManager::FillEngineAttributes(IncidentForm& form, const std::string& moniker, const std::string& head) {
  const auto fill = [&](std::string_view key, const std::string& value) {
    AddIfMissing(form, key, value);
    Trace(head + std::string(key) + " = " + AttributeText(form, key).value_or(""));
  };
  fill("mvGUID", CreateGUID());
  fill("mvConfigurationID", moniker);
  fill("mvSourceComputer", "");
  fill("mvEntityID", "0");
  const std::string source = AttributeText(form, "mvSourceComputer").value_or("");
  if (const size_t slash = source.find('\\'); slash != std::string::npos) {
    fill("mvDomain", source.substr(0, slash));
    fill("mvComputer", source.substr(slash + 1));
  }
  fill("mvModule", m_moniker);
}

void MonitorManager::TakeBackAcknowledgement(IncidentForm& form, const std::string& head) {
  Attributes& attributes = *form.GetAttributes();
  if (!attributes.Exists("Ack")) return;
  Trace(head + "Ack Property Set");
  const std::string ack = AttributeText(form, "Ack").value_or("");
  Trace(head + "Ack =  " + ack);
  if (ack != "FALSE") return;
  attributes.Remove(Value(std::string("Ack")));
  if (attributes.Exists("AckUser")) attributes.Remove(Value(std::string("AckUser")));
  if (attributes.Exists("AckTimeUniversal")) attributes.Remove(Value(std::string("AckTimeUniversal")));
}

void MonitorManager::CountDelays(const IncidentFormRef& formRef, IncidentForms& forms,
                                 const DecisionSettings& settings, const std::string& head, bool& skip) {
  IncidentForm& form = *formRef;
  Trace(head + "Current AlertStatus = " + std::to_string(form.AlertStatus()), logLevelDebug, kStatusCategory);
  switch (form.AlertStatus()) {
    case AlertOnce:
      form.SetMVSendAlertPolls(0);
      break;
    case AlertOffPending:
      break;
    case AlertOn:
      DecideAlertOn(formRef, forms, settings.waitAlert, head, skip);
      break;
    case AlertOff:
      DecideAlertOff(form, settings.waitResolve, head, skip);
      break;
  }
}

bool MonitorManager::SendForm(const IncidentFormRef& formRef, IncidentForms& forms, const std::string& head,
                              bool& noOtherConfiguration) {
  IncidentForm& form = *formRef;
  Trace(head + "Creating Incident from Form of Resource '" + form.Resource() + "' and Condition '" +
        form.Condition() + "'(" + forms.ConfigMoniker() + ")");
  CreateIncidentFromForm(formRef);
  if (m_incidentString.empty() || OtherConfigurationHasItOpen(formRef, forms, noOtherConfiguration)) {
    form.SetProcessedByMM(true);
    Trace(head + "No incident will be sent for Form With Condition - " + form.Condition());
    return true;
  }
  const std::string audit = "Sending " + AuditText(form) + " because it " + AuditVerb(form.AlertStatus());
  if (m_application) {
    if (auto logger = m_application->Logger()) logger->WriteInfo(audit, m_monitorName, logLevelInfo, 0);
  }
  const bool heartbeat = IsSystemHeartbeat(form.Condition());
  Trace(head + "Sending Incident Form With Condition - " + form.Condition());
  form.SetProcessedByMM(SendIncidentData(heartbeat ? kHeartbeatTimeToLive : kIncidentTimeToLive,
                                         heartbeat ? kHeartbeatPriority : 0));
  return true;
}

void MonitorManager::DecideAlertOn(const IncidentFormRef& formRef, IncidentForms& forms, int32_t waitAlert,
                                   const std::string& head, bool& skip) {
  IncidentForm& form = *formRef;
  const std::string about = AboutForm(form);
  if (form.MVSendAlertPolls() == kPollsUnset) {
    form.SetMVSendAlertPolls(waitAlert);
    Trace(head + "Setting MVSendAlertPolls for " + about + " to " + std::to_string(form.MVSendAlertPolls()));
  }
  if (form.MVSendAlertPolls() == kPollsDone && form.UpdateOccurred()) {
    const int32_t oldCrc = form.PropertiesCRC();
    if (oldCrc != 0) {
      forms.CalculateFormCRC(formRef);
      Trace(head + "Old CRC = " + std::to_string(oldCrc) + " : New CRC = " + std::to_string(form.PropertiesCRC()));
      if (form.PropertiesCRC() == oldCrc) form.ResetUpdateOccurred();
    }
    form.SetMVResolveAlertPolls(kPollsUnset);  // back on: a pending resolve is cancelled
  }
  if (form.MVResolveAlertPolls() < 0 && form.MVSendAlertPolls() > 0) {
    form.SetMVSendAlertPolls(form.MVSendAlertPolls() - 1);
    // The incident carries the time its delay ended, not when the problem was first seen.
    form.SetOccurrenceTimeUTC(OleDate());
    form.SetProcessedByMM(true);
    skip = true;
    Trace(head + "Decrementing MVSendAlertPolls for " + about + " to " + std::to_string(form.MVSendAlertPolls()));
  }
  if (form.MVSendAlertPolls() == 0) form.ResetUpdateOccurred();  // a first alert, never "(Updated)"
}

void MonitorManager::DecideAlertOff(IncidentForm& form, int32_t waitResolve, const std::string& head, bool& skip) {
  const std::string about = AboutForm(form);
  bool resolveImmediately = false;
  if (form.MVResolveAlertPolls() == kPollsUnset && form.MVSendAlertPolls() > kPollsUnset) {
    form.SetMVResolveAlertPolls(waitResolve);
    resolveImmediately = waitResolve == 0;
    Trace(head + "Setting MVResolveAlertPolls for " + about + " to " + std::to_string(form.MVResolveAlertPolls()));
  }
  if (form.MVResolveAlertPolls() == 0) {
    if (resolveImmediately) {
      if (form.PotentialMergedOccurrenceTimeUTC() > form.OccurrenceTimeUTC()) {
        Trace(head + "Setting OccurrenceTimeUTC (currently " + DateText(form.OccurrenceTimeUTC()) +
              ") to PotentialMergedOccurrenceTimeUTC of " + DateText(form.PotentialMergedOccurrenceTimeUTC()));
        form.SetOccurrenceTimeUTC(form.PotentialMergedOccurrenceTimeUTC());
      }
    } else {
      form.SetOccurrenceTimeUTC(UTCNow());  // the wait has run out
    }
  }
  if (form.MVResolveAlertPolls() > 0 && form.MVSendAlertPolls() == kPollsDone) {
    // Shown as alerted while it waits; assigning the status may touch the counters.
    const int32_t resolvePolls = form.MVResolveAlertPolls() - 1;
    const int32_t sendPolls = form.MVSendAlertPolls();
    form.SetAlertStatus(AlertOn);
    form.SetMVResolveAlertPolls(resolvePolls);
    form.SetMVSendAlertPolls(sendPolls);
    skip = true;
    Trace(head + "Decrementing MVResolveAlertPolls for " + about + " to " + std::to_string(resolvePolls));
  }
  if (form.MVSendAlertPolls() > kPollsDone) {
    // The problem went away before its alert left: the server never hears of it.
    skip = true;
    form.SetProcessedByMM(true);
    Trace(head +
          "An off was sent before MVSendAlertPolls had completely decremented.  Event will be thrown out.");
  }
}

bool MonitorManager::OtherConfigurationHasItOpen(const IncidentFormRef& formRef, IncidentForms& forms,
                                                 bool& noOtherConfiguration) {
  if (noOtherConfiguration) return false;
  bool open = false;
  bool sawNoOther = true;
  const IncidentForms::FormList& all = forms.AllForms();
  for (size_t i = 0; i < all.size(); ++i) {
    const IncidentFormRef other = all[i];
    if (other->ConfigMoniker() == formRef->ConfigMoniker()) continue;
    sawNoOther = false;
    if (forms.CompareForms(other, formRef) && !other->OccurrenceTimeUTC().IsZero()) {
      Trace(formRef->ConfigMoniker() + " skipping sending of incident; configuration " + other->ConfigMoniker() +
            " has it open");
      open = true;
    }
  }
  // Without forms of other configurations the remaining forms of this call spare the walk.
  if (sawNoOther) noOtherConfiguration = true;
  return open;
}

}  // namespace korad
