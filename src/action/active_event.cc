#include "action/active_event.h"

#include "action/user.h"
#include "contracts/class_registry.h"
#include "platform/scripting_compatible_dictionary.h"

namespace korad {

const std::vector<std::string>& ActiveEvent::StandardAttributeNames() {
  static const std::vector<std::string> names = {"RESOURCE",
                                                 "RESOURCEDESCRIPTION",
                                                 "CONDITION",
                                                 "CONDITIONDESCRIPTION",
                                                 "INITIALINCIDENTOCCURRENCEUNIVERSAL",
                                                 "LASTINCIDENTOCCURRENCEUNIVERSAL",
                                                 "INITIALRESPONSEOCCURRENCEUNIVERSAL",
                                                 "LASTRESPONSEOCCURRENCEUNIVERSAL",
                                                 "PREVIOUSINCIDENTOCCURRENCEUNIVERSAL",
                                                 "PRIORITY"};
  return names;
}

std::shared_ptr<ActiveEvent> ActiveEvent::Create() {
  auto event = std::make_shared<ActiveEvent>(Passkey{});
  event->Guard("ActiveEvent.Class_Initialize: ", [&] {
    event->m_attributes = std::make_shared<Attributes>();
    event->m_attributes->SetParent(event);
    event->m_attributes->SetParentStandardAttributes(StandardAttributeNames());
    event->m_user = CreateObjectAs<User>(User::kClassId);
    event->m_keyAttributes = CreateObjectAs<ScriptingCompatibleDictionary>(ScriptingCompatibleDictionary::kClassId);
    event->m_global = std::make_unique<MVGLOBAL>();
  });
  return event;
}

ActiveEvent::~ActiveEvent() {
  try {
    Guard("ActiveEvent.Class_Terminate: ", [&] {
      if (m_attributes) m_attributes->RemoveAll();
      m_attributes.reset();
      m_user.reset();
      m_keyAttributes.reset();
      m_global.reset();
      ErrorReporter::SetLogManager(nullptr);
    });
  } catch (...) {
    // Without a logger the handler raises, and a destructor must not.
  }
}

std::string ActiveEvent::LegacyGet(const std::string& universal) const {
  if (universal.empty()) return {};
  return FormatDate(m_global->UniversalToLocal(universal));
}

void ActiveEvent::LegacyLet(std::string& universal, const Value& local, std::string_view member) {
  if (const LogManagerRef& log = GetLogManager()) {
    log->Log("Legacy property access (" + std::string(member) + ") occurred", kErrorCategory, logLevelWarningLow);
  }
  universal = m_global->LocalToUniversal(local.ToDate());
}

void ActiveEvent::Finalize() {
  Guard("ActiveEvent.Finalize: ", [&] {
    if (m_attributes) m_attributes->SetParent(nullptr);
    if (m_user) m_user->Finalize();
  });
}

void ActiveEvent::SetLogManager(LogManagerRef logManager) {
  Guard("ActiveEvent.LogManager(Let): ", [&] {
    ErrorReporter::SetLogManager(logManager);
    if (m_user) m_user->SetLogManager(logManager);
    if (m_attributes) m_attributes->SetLogManager(logManager);
  });
}

const DispatchTable<ActiveEvent>& ActiveEvent::Dispatch() {
  static const DispatchTable<ActiveEvent> table = [] {
    using E = ActiveEvent;
    DispatchTable<E> t;
    // A text property of the event by its getter and setter.
    auto text = [&t](const char* name, auto get, auto let) {
      t.Property(
          name, [get](E& e) { return Value((e.*get)()); }, [let](E& e, const Value& v) { (e.*let)(v.ToText()); });
    };
    t.Property(
        "Attributes", [](E& e) { return Value(ObjectRef(e.GetAttributes())); },
        [](E& e, const Value& v) { e.SetAttributes(std::dynamic_pointer_cast<Attributes>(v.ToObject())); });
    t.Property(
        "Priority", [](E& e) { return Value(e.Priority()); },
        [](E& e, const Value& v) { e.SetPriority(v.ToInteger()); });
    text("Condition", &E::Condition, &E::SetCondition);
    t.Property(
        "KeyAttributes", [](E& e) { return Value(ObjectRef(e.KeyAttributes())); },
        [](E& e, const Value& v) {
          e.SetKeyAttributes(std::dynamic_pointer_cast<ScriptingCompatibleDictionary>(v.ToObject()));
        });
    text("ConditionDescription", &E::ConditionDescription, &E::SetConditionDescription);
    text("Resource", &E::Resource, &E::SetResource);
    text("ResourceDescription", &E::ResourceDescription, &E::SetResourceDescription);
    t.Property(
        "InitialIncidentOccurrence", [](E& e) { return Value(e.InitialIncidentOccurrence()); },
        [](E& e, const Value& v) { e.SetInitialIncidentOccurrence(v); });
    t.Property(
        "LastIncidentOccurrence", [](E& e) { return Value(e.LastIncidentOccurrence()); },
        [](E& e, const Value& v) { e.SetLastIncidentOccurrence(v); });
    t.Property(
        "InitialResponseOccurrence", [](E& e) { return Value(e.InitialResponseOccurrence()); },
        [](E& e, const Value& v) { e.SetInitialResponseOccurrence(v); });
    t.Property(
        "LastResponseOccurrence", [](E& e) { return Value(e.LastResponseOccurrence()); },
        [](E& e, const Value& v) { e.SetLastResponseOccurrence(v); });
    text("InitialIncidentOccurrenceUniversal", &E::InitialIncidentOccurrenceUniversal,
         &E::SetInitialIncidentOccurrenceUniversal);
    text("LastIncidentOccurrenceUniversal", &E::LastIncidentOccurrenceUniversal,
         &E::SetLastIncidentOccurrenceUniversal);
    text("InitialResponseOccurrenceUniversal", &E::InitialResponseOccurrenceUniversal,
         &E::SetInitialResponseOccurrenceUniversal);
    text("LastResponseOccurrenceUniversal", &E::LastResponseOccurrenceUniversal,
         &E::SetLastResponseOccurrenceUniversal);
    text("PreviousIncidentOccurrenceUniversal", &E::PreviousIncidentOccurrenceUniversal,
         &E::SetPreviousIncidentOccurrenceUniversal);
    t.Property(
        "User", [](E& e) { return Value(ObjectRef(e.GetUser())); },
        [](E& e, const Value& v) { e.SetUser(std::dynamic_pointer_cast<User>(v.ToObject())); });
    t.Call("Finalize", [](E& e) {
      e.Finalize();
      return Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
