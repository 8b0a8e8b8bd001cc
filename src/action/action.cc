#include "action/action.h"

#include "action/active_event.h"
#include "action/user.h"
#include "contracts/class_registry.h"
#include "contracts/object_required.h"
#include "foundation/string_functions.h"

namespace korad {

const std::vector<std::string>& Action::StandardAttributeNames() {
  static const std::vector<std::string> names = {"MONIKER", "DESCRIPTION", "RAWEVENT"};
  return names;
}

std::shared_ptr<Action> Action::Create() {
  auto action = std::make_shared<Action>(Passkey{});
  action->Guard("Action.Class_Initialize: ", [&] {
    action->m_activeEvent = CreateObjectAs<korad::ActiveEvent>(korad::ActiveEvent::kClassId);
    action->m_attributes = std::make_shared<Attributes>();
    action->m_attributes->SetParent(action);
    action->m_attributes->SetParentStandardAttributes(StandardAttributeNames());
    action->m_allAttributes = std::make_shared<Attributes>();
    action->m_initialAttributes = std::make_shared<Attributes>();
  });
  return action;
}

Action::~Action() {
  try {
    Guard("Action.Class_Terminate: ", [&] {
      for (const AttributesRef* owned : {&m_attributes, &m_allAttributes, &m_initialAttributes}) {
        if (*owned) (*owned)->RemoveAll();
      }
      m_attributes.reset();
      m_allAttributes.reset();
      m_initialAttributes.reset();
      m_activeEvent.reset();
      ErrorReporter::SetLogManager(nullptr);
    });
  } catch (...) {
    // Without a logger the handler raises, and a destructor must not.
  }
}

Attributes* Action::CollectionOf(std::string_view prefix) {
  if (prefix == "ACTION") return &ObjectRequired(m_attributes);
  if (prefix == "EVENT") return &ObjectRequired(ObjectRequired(m_activeEvent).GetAttributes());
  if (prefix == "USER") return &ObjectRequired(ObjectRequired(ObjectRequired(m_activeEvent).GetUser()).GetAttributes());
  return nullptr;
}

void Action::Initialize() {
  Guard("Action.Initialize: ", [&] {
    Attributes& all = ObjectRequired(m_allAttributes);
    Attributes& eventAttributes = *CollectionOf("EVENT");
    // The whole graph must be there, whatever the keys name.
    for (std::string_view prefix : {"ACTION", "USER"}) CollectionOf(prefix);
    for (const AttributeRef& initial : ObjectRequired(m_initialAttributes)) {
      const std::string& key = initial->Key();
      std::string prefix;
      const std::string name = SplitAtFirstDot(key, prefix);
      // A key without a known prefix goes whole to the event.
      Attributes* target = CollectionOf(NormalizeKey(prefix));
      const std::string& added = target ? name : key;
      (target ? *target : eventAttributes).Add(added, initial->Value());
      all.Add(added, initial->Value());
    }
  });
}

void Action::Finalize() {
  Guard("Action.Finalize: ", [&] {
    for (const AttributesRef* owned : {&m_attributes, &m_allAttributes, &m_initialAttributes}) {
      if (*owned) (*owned)->SetParent(nullptr);
    }
    if (m_activeEvent) m_activeEvent->Finalize();
  });
}

void Action::SetLogManager(LogManagerRef logManager) {
  Guard("Action.LogManager(Let): ", [&] {
    ErrorReporter::SetLogManager(logManager);
    if (m_activeEvent) m_activeEvent->SetLogManager(logManager);
    if (m_attributes) m_attributes->SetLogManager(logManager);
    if (m_allAttributes) m_allAttributes->SetLogManager(logManager);
  });
}

const DispatchTable<Action>& Action::Dispatch() {
  static const DispatchTable<Action> table = [] {
    using A = Action;
    DispatchTable<A> t;
    auto collection = [&t](const char* name, const AttributesRef& (A::*get)() const, void (A::*let)(AttributesRef)) {
      t.Property(
          name, [get](A& a) { return Value(ObjectRef((a.*get)())); },
          [let](A& a, const Value& v) { (a.*let)(std::dynamic_pointer_cast<Attributes>(v.ToObject())); });
    };
    auto text = [&t](const char* name, const std::string& (A::*get)() const, void (A::*let)(std::string_view)) {
      t.Property(
          name, [get](A& a) { return Value((a.*get)()); }, [let](A& a, const Value& v) { (a.*let)(v.ToText()); });
    };
    collection("Attributes", &A::GetAttributes, &A::SetAttributes);
    collection("AllAttributes", &A::AllAttributes, &A::SetAllAttributes);
    t.Property(
        "ActiveEvent", [](A& a) { return Value(ObjectRef(a.ActiveEvent())); },
        [](A& a, const Value& v) { a.SetActiveEvent(std::dynamic_pointer_cast<korad::ActiveEvent>(v.ToObject())); });
    text("Moniker", &A::Moniker, &A::SetMoniker);
    text("Description", &A::Description, &A::SetDescription);
    t.Call("Finalize", [](A& a) {
      a.Finalize();
      return Value();
    });
    text("RawEvent", &A::RawEvent, &A::SetRawEvent);
    text("Response", &A::Response, &A::SetResponse);
    return t;
  }();
  return table;
}

}  // namespace korad
