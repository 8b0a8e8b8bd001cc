#include "action/action.h"

#include "action/active_event.h"
#include "action/object_required.h"
#include "action/user.h"
#include "contracts/class_registry.h"
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

void Action::Initialize() {
  Guard("Action.Initialize: ", [&] {
    Attributes& attributes = ObjectRequired(m_attributes);
    Attributes& all = ObjectRequired(m_allAttributes);
    korad::ActiveEvent& event = ObjectRequired(m_activeEvent);
    Attributes& eventAttributes = ObjectRequired(event.GetAttributes());
    Attributes& userAttributes = ObjectRequired(ObjectRequired(event.GetUser()).GetAttributes());
    for (const AttributeRef& initial : ObjectRequired(m_initialAttributes)) {
      const std::string& key = initial->Key();
      const Value& value = initial->Value();
      std::string prefix;
      const std::string name = SplitAtFirstDot(key, prefix);
      prefix = NormalizeKey(prefix);
      if (prefix == "ACTION") {
        attributes.Add(name, value);
        all.Add(name, value);
      } else if (prefix == "EVENT") {
        eventAttributes.Add(name, value);
        all.Add(name, value);
      } else if (prefix == "USER") {
        userAttributes.Add(name, value);
        all.Add(name, value);
      } else {
        eventAttributes.Add(key, value);
        all.Add(key, value);
      }
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
