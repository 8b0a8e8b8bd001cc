#include "contracts/object.h"

#include "contracts/error.h"

namespace korad {

std::string_view Object::ClassName() const noexcept {
  const std::string_view id = ClassId();
  const size_t dot = id.rfind('.');
  return dot == std::string_view::npos ? id : id.substr(dot + 1);
}

void RaiseNoSuchMember(std::string_view className, std::string_view name) {
  throw Error(kErrNoSuchMember, std::string(className),
              RuntimeErrorText(kErrNoSuchMember) + ": '" + std::string(name) + "'");
}

Value Object::GetProperty(std::string_view name) { RaiseNoSuchMember(ClassName(), name); }
void Object::LetProperty(std::string_view name, const Value&) { RaiseNoSuchMember(ClassName(), name); }
Value Object::CallMethod(std::string_view name) { RaiseNoSuchMember(ClassName(), name); }
bool Object::HasProperty(std::string_view) const { return false; }
bool Object::HasMethod(std::string_view) const { return false; }

}  // namespace korad
