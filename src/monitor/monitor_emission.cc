// From a form to the message on the queue: whether there is anything to say, the
// incident string, the send, and the tracked-object data of a pass.
#include <string>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/global_functions.h"
#include "foundation/log_manager.h"
#include "incident/incident_forms.h"
#include "incident/incident_object_builder.h"
#include "incident/tracked_objects.h"
#include "incident/tracked_objects_xml.h"
#include "monitor/engine_text.h"
#include "monitor/monitor_manager.h"
#include "monitor/queue_names.h"
#include "platform/connector.h"
#include "platform/connector_message.h"

namespace korad {
namespace {

constexpr int32_t kDataCollectionTimeToLive = 1209600;
constexpr std::string_view kDataCollectionStart = "***mvStartDataCollection***";
constexpr std::string_view kDataCollectionEnd = "***mvEndDataCollection***";


bool IsOff(const IncidentForm& form) {
  return form.AlertStatus() == AlertOff || form.AlertStatus() == AlertOffPending;
}

// The plain text the unit tester collects instead of an incident object.
std::string UnitTesterText(const IncidentForm& form, const std::string& incidentClass) {
  std::string text = "Resource=" + form.Resource() + ";Condition=" + incidentClass + ";Priority=" +
                     std::to_string(form.Priority()) + ";Occurrence=" + DateText(form.OccurrenceTime()) + ";";
  for (const AttributeRef& attribute : *form.GetAttributes()) {
    text += attribute->Key() + "=" + attribute->Value().ToText() + ";";
  }
  return text;
}

}  // namespace

void MonitorManager::CreateIncidentFromForm(const std::shared_ptr<IncidentForm>& form) {
  const std::string head = "CreateIncidentFromForm(" + (form ? form->ConfigMoniker() : std::string()) + "): ";
  Guard("MonitorManager." + head, [&] {
    m_incidentString.clear();
    Trace(head + "Validating that IncidentForm represents valid incident.");
    if (IsBlank(form->Condition())) {
      RaiseLibraryError("Invalid Condition for incident with Resource " + form->Resource() + " and Occurrence " +
                        DateText(form->OccurrenceTime()));
    }
    if (IsBlank(form->Resource())) {
      RaiseLibraryError("Invalid Resource for incident with Condition " + form->Condition() + " and Occurrence " +
                        DateText(form->OccurrenceTime()));
    }
    if (form->OccurrenceTimeUTC().IsZero()) {
      form->SetOccurrenceTimeUTC(UTCNow());
      Trace(head + "NULL OccurrenceTime for incident with Condition " + form->Condition() +
                " - setting to current time",
            logLevelInfo);
    }
    bool shouldSend = ShouldSend(*form, head);
    const bool noState = (m_eventTypeMode & 2) != 0;
    if (noState) shouldSend = true;  // a configuration without memory sends all it gets
    if (!shouldSend) return;

    if (m_eRunMode == ModeUnitTester) {
      if (!m_incidentCollection) m_incidentCollection = std::make_shared<std::vector<std::string>>();
      m_incidentCollection->push_back(UnitTesterText(
          *form, IncidentClass(*form, m_eventTypeMode, m_updCond, m_resCond, OnceFormMark::kOwnFlag)));
    } else {
      Trace(head + "Building Incident Object");
      const IncidentObject incident = CreateIncidentObject(*form, m_eventTypeMode, m_updCond, m_resCond);
      // In a mode configuration, resolves and updates go out only under their own condition.
      const bool withheld =
          m_eventTypeMode > 0 && ((IsOff(*form) && m_resCond.empty()) ||
                                  (form->AlertStatus() == AlertOn && form->UpdateOccurred() && m_updCond.empty()));
      if (withheld) {
        Trace(head + "Will not set IncidentString based on instructions not to set");
      } else {
        Trace(head + "Setting IncidentString");
        m_incidentString = incident.Text();
      }
    }
    if (noState) form->SetAlertStatus(AlertOnce);
  });
}

bool MonitorManager::ShouldSend(IncidentForm& form, const std::string& head) {
  Trace(head + "Form Processed previously? " + BoolText(form.ProcessedByMM()));
  Trace(head + "AlertStatus of Form? " + std::to_string(form.AlertStatus()));
  Trace(head + "Form Update Occurred? " + BoolText(form.UpdateOccurred()));
  bool shouldSend = false;
  if (form.ProcessedByMM()) {
    // Announced before: an update, a resolve, or an alert whose delay has just ended.
    shouldSend =
        form.UpdateOccurred() || IsOff(form) || (form.AlertStatus() == AlertOn && form.MVSendAlertPolls() == 0);
  } else {
    shouldSend = form.AlertStatus() == AlertOn || form.AlertStatus() == AlertOnce;
  }
  if (form.AlertStatus() == AlertOffPending) form.SetOccurrenceTimeUTC(UTCNow());
  Trace(head + "Should send incident? " + BoolText(shouldSend));
  if (m_eventTypeMode > 0) {
    Trace(head + "EventTypeMode = " + std::to_string(m_eventTypeMode));
    Trace(head + "UpdCond = " + m_updCond);
    Trace(head + "ResCond = " + m_resCond);
  }
  return shouldSend;
}

bool MonitorManager::SendIncidentData(int32_t timeToLive, int32_t priority) {
  bool result = false;
  Guard("MonitorManager.SendIncidentData: ", [&] {
    Trace("Started SendIncidentData");
    if (m_eRunMode == ModeMorvane) {
      Trace("SendIncidentData: Determined that Morvane core is running.");
      if (!m_incidentString.empty()) {
        Trace("SendIncidentData: Got an IncidentString.  Sending...");
        SendMessage(kIncidentQueue, m_incidentString, timeToLive, priority);
        Trace("SendIncidentData: One incident sent to engine.", logLevelInfo);
      }
    }
    result = true;
  });
  return result;
}

bool MonitorManager::SendDataCollection(int32_t entityID, std::shared_ptr<IncidentForms>& incidentForms) {
  bool result = false;
  Guard("MonitorManager.SendDataCollection: ", [&] {
    Trace("Started SendDataCollection");
    if (m_eRunMode == ModeMorvane) {
      Trace("SendDataCollection: Determined that Morvane core is running.");
      const std::string xml = ConvertTrackedObjectsToXML(entityID, incidentForms);
      if (!xml.empty()) {
        Trace("SendDataCollection: Got a Data Collection String.  Sending...");
        SendMessage(kDataCollectionQueue,
                    std::string(kDataCollectionStart) + xml + std::string(kDataCollectionEnd),
                    kDataCollectionTimeToLive, 0);
        Trace("SendDataCollection: Data collection string sent to engine.", logLevelInfo);
      }
    }
    result = true;
  });
  return result;
}

void MonitorManager::SendMessage(std::string_view queue, const std::string& body, int32_t timeToLive,
                                 int32_t priority) {
  ConnectorMessage message;
  message.SetBody(body);
  message.SetTimeToLive(timeToLive);
  message.SetPriority(priority);
  message.SetEntityId(m_myEntityNumber);
  message.SetTargetQueue(std::string(queue));
  if (!m_connector) RaiseLibraryError("No connector to send on");
  m_connector->Send(message);
}

std::string MonitorManager::ConvertTrackedObjectsToXML(int32_t entityID,
                                                       std::shared_ptr<IncidentForms>& incidentForms) {
  std::string xml;
  Guard("MonitorManager.ConvertTrackedObjectsToXML: ", [&] {
    const auto& trackedObjects = incidentForms->GetTrackedObjects();
    if (!trackedObjects) return;
    xml = korad::ConvertTrackedObjectsToXML(entityID, *trackedObjects, m_logManager, m_monitorName);
  });
  return xml;
}

}  // namespace korad
