#include "action/user.h"

namespace korad {

const std::vector<std::string>& User::StandardAttributeNames() {
  static const std::vector<std::string> names = {"NAME"};
  return names;
}

std::shared_ptr<User> User::Create() {
  auto user = std::make_shared<User>(Passkey{});
  user->Guard("User.Class_Initialize: ", [&] {
    user->m_attributes = std::make_shared<Attributes>();
    user->m_attributes->SetParent(user);
    user->m_attributes->SetParentStandardAttributes(StandardAttributeNames());
  });
  return user;
}

User::~User() {
  try {
    Guard("User.Class_Terminate: ", [&] {
      if (m_attributes) m_attributes->RemoveAll();
      m_attributes.reset();
      ErrorReporter::SetLogManager(nullptr);
    });
  } catch (...) {
    // Without a logger the handler raises, and a destructor must not.
  }
}

void User::Finalize() {
  Guard("User.Finalize: ", [&] {
    if (m_attributes) m_attributes->SetParent(nullptr);
  });
}

void User::SetLogManager(LogManagerRef logManager) {
  Guard("User.LogManager(Let): ", [&] {
    ErrorReporter::SetLogManager(logManager);
    if (m_attributes) m_attributes->SetLogManager(logManager);
  });
}

const DispatchTable<User>& User::Dispatch() {
  static const DispatchTable<User> table = [] {
    DispatchTable<User> t;
    t.Property(
        "Name", [](User& u) { return Value(u.Name()); }, [](User& u, const Value& v) { u.SetName(v.ToText()); });
    t.Property(
        "Attributes", [](User& u) { return Value(ObjectRef(u.GetAttributes())); },
        [](User& u, const Value& v) { u.SetAttributes(std::dynamic_pointer_cast<Attributes>(v.ToObject())); });
    t.Call("Finalize", [](User& u) {
      u.Finalize();
      return Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
