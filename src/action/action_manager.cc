// ActionManager: construction, properties, the run, the actor and the sample run.
#include "action/action_manager.h"

#include "action/action.h"
#include "action/active_event.h"
#include "action/user.h"
#include "contracts/class_registry.h"
#include "contracts/create_object_or_raise.h"
#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "foundation/log_manager.h"
#include "foundation/module_config_reader.h"
#include "foundation/validation_rules.h"
#include "platform/application_object.h"
#include "platform/clock.h"
#include "platform/platform.h"

namespace korad {

ActionManager::~ActionManager() {
  try {
    Guard("ActionManager.Class_Terminate: ", [&] {
      m_application.reset();
      m_actor.reset();
      if (m_action) m_action->Finalize();
      m_action.reset();
      AdoptLogManager(nullptr);
    });
  } catch (...) {
    // Without a logger the handler raises, and a destructor must not.
  }
}

const DispatchTable<ActionManager>& ActionManager::Dispatch() {
  static const DispatchTable<ActionManager> table = [] {
    using M = ActionManager;
    DispatchTable<M> t;
    t.Property("XML", nullptr, [](M& m, const Value& v) { m.SetXML(v.ToText()); });
    t.Property(
        "MyActorID", [](M& m) { return Value(m.MyActorID()); },
        [](M& m, const Value& v) { m.SetMyActorID(v.ToText()); });
    t.Property(
        "MyEntityID", [](M& m) { return Value(m.MyEntityID()); },
        [](M& m, const Value& v) { m.SetMyEntityID(v.ToLong()); });
    t.Property(
        "ConfigurationSource", [](M& m) { return Value(m.ConfigurationSource()); },
        [](M& m, const Value& v) { m.SetConfigurationSource(v.ToText()); });
    t.Property(
        "ConfigurationSection", [](M& m) { return Value(m.ConfigurationSection()); },
        [](M& m, const Value& v) { m.SetConfigurationSection(v.ToText()); });
    t.Property(
        "RunMode", [](M& m) { return Value(static_cast<int32_t>(m.GetRunMode())); },
        [](M& m, const Value& v) { m.SetRunMode(static_cast<RunMode>(v.ToLong())); });
    t.Property(
        "Action", [](M& m) { return Value(ObjectRef(m.GetAction())); },
        [](M& m, const Value& v) {
          m.SetAction(v.IsObject() ? std::dynamic_pointer_cast<korad::Action>(v.ToObject()) : nullptr);
        });
    t.Call("RunSampleAction", [](M& m) {
      m.RunSampleAction();
      return Value();
    });
    return t;
  }();
  return table;
}

// ---- Properties ----

void ActionManager::SetConfigurationSection(std::string_view section) {
  m_configurationSection = section;
  if (m_configurationSource.empty()) {
    m_configurationSource = GetHomeDirectory() + "/ModuleConfigs/" + m_configurationSection + ".INI";
  }
}

void ActionManager::SetAction(std::shared_ptr<korad::Action> action) {
  Guard("ActionManager.Action(Let): ", [&] {
    if (m_action) m_action->Finalize();
    m_action.reset();
    if (action) m_action = std::move(action);
  });
}

void ActionManager::SetXML(std::string_view xml) { PerformAction(xml); }

// ---- The run ----

std::string ActionManager::PerformAction(std::string_view xml) {
  std::shared_ptr<korad::Action> action;
  try {
    CreateActorObjects();
    std::string response;
    if (m_actor) response = RunAction(xml, action);
    if (action) action->Finalize();
    return response;
  } catch (...) {
    const Error failure = CurrentExceptionAsError();
    if (action) action->Finalize();
    action.reset();
    if (m_eRunMode == ModeMorvane) throw failure;
    ReportError("ActionManager.XML(Let): " + failure.Description(), failure.Number(), true);
    return {};
  }
}

std::string ActionManager::RunAction(std::string_view xml, std::shared_ptr<korad::Action>& action) {
  int32_t runState = 0;
  if (m_application) runState = m_application->Status();
  Trace("Action XML received");
  // An action that arrives while the agent is stopping is dropped without a word.
  if (m_eRunMode == ModeMorvane && runState != kServiceRunning) return {};

  Trace("Verifying Action ClassID " + m_myActorId);
  if (m_myActorId.empty()) {
    RaiseLibraryError("No actor ClassID set for this ActionManager.  Please configure a ClassID for the target actor.");
  }
  Trace("Getting configurations from " + m_configurationSource);
  SectionNameArray sections;
  std::shared_ptr<Configurations> configurations =
      GetConfigurations(m_myActorId, m_configurationSource, m_logManager, sections);

  if (!m_action) {
    Trace("Creating a new action object");
    action = CreateObjectOrRaise<korad::Action>(korad::Action::kClassId, "Could not create an Action object");
  } else {
    Trace("Setting existing action object");
    action = m_action;
  }
  action->SetLogManager(m_logManager);

  if (!m_configurationSource.empty()) {
    if (m_configurationSection.empty()) {
      RaiseLibraryError("The ConfigurationSection property for " + m_myActorId +
                        " is missing.  Please set the appropriate configuration section name.");
    }
    configurations->SetConfigMoniker(m_configurationSection);
  }

  Trace("Calling SetValidationRules for " + m_myActorId);
  auto configRules = CreateObjectAs<ValidationRules>(ValidationRules::kClassId);
  auto attrRules = CreateObjectAs<ValidationRules>(ValidationRules::kClassId);
  m_actor->SetValidationRules(configRules, attrRules);
  Trace("Called SetValidationRules for " + m_myActorId + ". Returned " + std::to_string(configRules->Count()) +
        " validation rules");

  Trace("Calling validate configurations with " + std::to_string(configurations->Count()) +
        " configurations. Current config resource = " + configurations->ConfigMoniker());
  std::string message;
  if (!ValidateConfigurations(*configurations, *configRules, message).ToBoolean()) {
    RaiseRunFailure("configuration", message);
  }
  Trace("Configurations validated");

  m_logManager->SetDetailLoggingOn(false);
  if (configurations->Exists("LogInfo")) {
    if (Value(configurations->Item("LogInfo")->Value()).ToBoolean()) m_logManager->SetDetailLoggingOn(true);
  } else {
    configurations->Add("LogInfo", "FALSE");
  }
  // Marked as validated, so it never becomes an attribute.
  configurations->Item("LogInfo")->SetExcluded(true);
  Trace("Set LogInfo detail logging to " + Value(m_logManager->DetailLoggingOn()).ToText());

  Trace("Calling FillInitialAttributes");
  FillInitialAttributes(configurations, *action);
  Trace("Calling Action.Initialize");
  action->Initialize();
  Trace("Creating Action from XML");
  CreateAction(xml, action);
  Trace(xml);

  Trace("Validating attributes for the current action request");
  if (!ValidateAttributes(*action, *attrRules, message)) RaiseRunFailure("attribute", message);
  Trace("Attributes validated");

  Trace("Calling PerformAction");
  m_logManager->ILogManager_LogEvent(BuildActionLogMessage(*action), m_myActorId);
  LogManagerRef logManager = m_logManager;
  m_actor->PerformAction(action, configurations, logManager);
  // The actor may hand back another logger; from now on it is the one.
  auto returned = std::dynamic_pointer_cast<LogManager>(logManager);
  if (!returned) RaiseRuntimeError(kErrTypeMismatch);
  AdoptLogManager(std::move(returned));
  Trace("PerformAction on " + m_myActorId + " completed successfully");
  return action->Response();
}

void ActionManager::RaiseRunFailure(std::string_view what, const std::string& message) const {
  std::string description = "Cannot call PerformAction on " + m_myActorId + " due to a failed " + std::string(what) +
                            " validation. Message was: " + message;
  if (m_eRunMode == ModeMorvane) description += kNoRetry;
  RaiseLibraryError(std::move(description));
}

// ---- The actor and its companions ----

void ActionManager::CreateActorObjects() {
  Guard("ActionManager.CreateActorObjects: ", [&] {
    if (m_eRunMode == ModeMorvane && !m_application) {
      m_application =
          CreateObjectOrRaise<ApplicationObject>(ApplicationObject::kClassId, "Could not create the Application object");
    }
    if (!m_logManager) {
      auto logManager = CreateObjectOrRaise<LogManager>(LogManager::kClassId, "Could not create the LogManager");
      logManager->m_eRunMode = m_eRunMode;
      AdoptLogManager(std::move(logManager));
    }
    if (!m_actor) {
      m_actor = CreateObjectOrRaise<IActor>(m_myActorId, "Could not create the actor " + m_myActorId +
                                                             ". Please verify that the actor implements the IActor interface");
    }
  });
}

void ActionManager::AdoptLogManager(std::shared_ptr<LogManager> logManager) {
  ErrorReporter::SetLogManager(logManager);
  m_logManager = std::move(logManager);
}

void ActionManager::Trace(std::string_view text) const {
  if (m_logManager) m_logManager->Log(text, m_myActorId, logLevelDebug);
}

// ---- The sample run ----

void ActionManager::RunSampleAction() {
  Guard("ActionManager.CreateSampleAction: ", [&] {
    SetAction(nullptr);
    SetAction(CreateObjectAs<korad::Action>(korad::Action::kClassId));
    korad::Action& action = *m_action;
    korad::ActiveEvent& event = *action.ActiveEvent();
    action.GetAttributes()->Add("SampleActionAttrKey", Value("SampleActionAttrVal"));
    event.GetAttributes()->Add("SampleEventAttrKey", Value("SampleEventAttrVal"));
    action.SetDescription("Sample Action");
    action.SetMoniker("SampleAction");
    event.SetCondition("SampleCondition");
    event.SetConditionDescription("Sample Condition");
    event.SetResource("SampleResource");
    event.SetResourceDescription("Sample Resource");
    Clock& clock = Platform::Current().GetClock();
    const Value now(FormatDate(clock.UtcToLocal(clock.UtcNow())));
    event.SetInitialIncidentOccurrence(now);
    event.SetLastIncidentOccurrence(now);
    event.SetInitialResponseOccurrence(now);
    event.SetLastResponseOccurrence(now);
    event.SetPriority(1);
    event.GetUser()->SetName("Sample User");
    SetXML("");
  });
}

}  // namespace korad
