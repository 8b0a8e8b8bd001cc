// SetIncidents: pass by pass, for each form of one configuration, whether an incident is
// sent, held back or dropped. A plug-in only says what it sees now; the alert and resolve
// delays, the update test and the duplicate suppression across configurations live here,
// in the forms' poll counters, which the form file keeps across restarts.
#include <cmath>
#include <functional>
#include <string>

#include "contracts/text.h"
#include "foundation/configuration.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/string_functions.h"
#include "incident/incident_forms.h"
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

std::string AttributeText(IncidentForm& form, std::string_view name) {
  Attributes& attributes = *form.GetAttributes();
  if (!attributes.Exists(name)) return {};
  const AttributeRef attribute = attributes.Item(Value(std::string(name)));
  return attribute ? attribute->Value().ToText() : std::string();
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
    text += ";" + std::string(name) + "=" + AttributeText(form, name);
  }
  return text;
}

}  // namespace

Value MonitorManager::SetIncidents(std::shared_ptr<IncidentForms>& incidentForms,
                                   const std::vector<Value>& configList,
                                   std::shared_ptr<Configurations>& configurations) {
  bool result = true;
  const std::string moniker = configList.empty() ? std::string() : configList.front().ToText();
  const std::string head = "SetIncidents(" + moniker + "): ";
  IncidentFormRef current;
  // One handler that resumes: the failing step is reported, the form in hand loses its
  // processed mark so the next pass tries it again, and the walk goes on.
  const ResumeStep step = [&](const std::function<void()>& body) {
    TrapErrors("MonitorManager.SetIncidents: ", body, [&](const std::string& description, int32_t number) {
      ReportError(description, number);
      if (current) current->SetProcessedByMM(false);
      result = false;
    });
  };

  Trace("Starting SetIncidents (" + moniker + ")");
  if (configList.empty()) return Value(true);
  IncidentForms& forms = *incidentForms;
  DecisionSettings settings;
  const bool global = NormalizeKey(moniker) == "GLOBAL";

  if (!global) {
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
    step([&] {
      Trace(head + "mvFilter = " + settings.filter);
      if (settings.filter.empty()) return;
      forms.SetRemoveUnmatched(true);
      try {
        forms.SetFilterString(settings.filter);
      } catch (...) {
        forms.SetRemoveUnmatched(false);
        throw;
      }
      forms.SetRemoveUnmatched(false);
      Trace(head + "Count with mvFilter = " + std::to_string(forms.Count()));
    });
    if (settings.hasEntityId) step([&] { SendDataCollection(settings.entityId, incidentForms); });

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

  // Removal: forms that are done with and not alerted leave the open set.
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
            std::to_string(current->AlertStatus()) + ": " + Value(current->ProcessedByMM()).ToText());
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
  if (!settings.filter.empty()) step([&] { forms.ResetFilter(); });
  return Value(result);
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
                                bool& noOtherConfiguration, const ResumeStep& step) {
  IncidentForm& form = *formRef;
  const std::string& moniker = forms.ConfigMoniker();

  // A: what every incident must carry.
  bool updatePending = false;
  step([&] {
    updatePending = form.UpdateOccurred();
    const auto fill = [&](std::string_view key, const std::string& value) {
      AddIfMissing(form, key, value);
      Trace(head + std::string(key) + " = " + AttributeText(form, key));
    };
    fill("mvGUID", CreateGUID());
    fill("mvConfigurationID", moniker);
    fill("mvSourceComputer", "");
    fill("mvEntityID", "0");
    const std::string source = AttributeText(form, "mvSourceComputer");
    if (const size_t slash = source.find('\\'); slash != std::string::npos) {
      fill("mvDomain", source.substr(0, slash));
      fill("mvComputer", source.substr(slash + 1));
    }
    fill("mvModule", m_moniker);
  });

  // B: "FALSE", exactly, takes an acknowledgement back.
  step([&] {
    Attributes& attributes = *form.GetAttributes();
    if (!attributes.Exists("Ack")) return;
    Trace(head + "Ack Property Set");
    const std::string ack = AttributeText(form, "Ack");
    Trace(head + "Ack =  " + ack);
    if (ack != "FALSE") return;
    attributes.Remove(Value(std::string("Ack")));
    if (attributes.Exists("AckUser")) attributes.Remove(Value(std::string("AckUser")));
    if (attributes.Exists("AckTimeUniversal")) attributes.Remove(Value(std::string("AckTimeUniversal")));
  });

  // C: a plug-in marks forms whose changes are never to be reported.
  step([&] {
    if (form.GetAttributes()->Exists("mvNoUpdate")) updatePending = false;
    if (!updatePending) form.ResetUpdateOccurred();
  });

  // D: the delays, counted in passes.
  bool skip = false;
  step([&] {
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
  });

  // F: the send.
  if (!skip) {
    bool sendDone = false;
    step([&] {
      Trace(head + "Creating Incident from Form of Resource '" + form.Resource() + "' and Condition '" +
            form.Condition() + "'(" + moniker + ")");
      CreateIncidentFromForm(formRef);
      const auto nothingToSend = [&] {
        form.SetProcessedByMM(true);
        Trace(head + "No incident will be sent for Form With Condition - " + form.Condition());
      };
      if (m_incidentString.empty()) {
        nothingToSend();
        sendDone = true;
        return;
      }
      if (OtherConfigurationHasItOpen(formRef, forms, noOtherConfiguration)) {
        nothingToSend();
        sendDone = true;
        return;
      }
      const std::string audit = "Sending " + AuditText(form) + " because it " + AuditVerb(form.AlertStatus());
      if (m_application) {
        if (auto logger = m_application->Logger()) logger->WriteInfo(audit, m_monitorName, logLevelInfo, 0);
      }
      const bool heartbeat = IsSystemHeartbeat(form.Condition());
      Trace(head + "Sending Incident Form With Condition - " + form.Condition());
      form.SetProcessedByMM(SendIncidentData(heartbeat ? kHeartbeatTimeToLive : kIncidentTimeToLive,
                                             heartbeat ? kHeartbeatPriority : 0));
      sendDone = true;
    });
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

  // G.
  step([&] {
    Trace(head + "ResetUpdateOccurred");
    form.ResetUpdateOccurred();
  });
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
        Trace(head + "Setting OccurrenceTimeUTC (currently " + Value(form.OccurrenceTimeUTC()).ToText() +
              ") to PotentialMergedOccurrenceTimeUTC of " + Value(form.PotentialMergedOccurrenceTimeUTC()).ToText());
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
    if (EqualsNoCase(other->ConfigMoniker(), formRef->ConfigMoniker())) continue;
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
