// Class ids to factories. The library registers its classes explicitly (a static library
// would let the linker drop self-registering objects); plug-ins register theirs through
// the host's loader. Ids compare case-insensitively.
#pragma once

#include <functional>
#include <memory>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "contracts/text.h"

namespace korad {

class Object;
using ObjectRef = std::shared_ptr<Object>;

class ClassRegistry {
 public:
  using Factory = std::function<ObjectRef()>;
  // Asked after a miss; returns true if it may have registered new classes (a plug-in
  // that arrived by transfer), so the create is tried once more.
  using MissHandler = std::function<bool(ClassRegistry&, std::string_view classId)>;

  static ClassRegistry& Global();

  // False, leaving the first factory in place, if the id is already registered.
  bool Register(std::string_view classId, Factory factory);
  bool IsRegistered(std::string_view classId) const;
  std::vector<std::string> ClassIds() const;

  // The new object, or nullptr if no factory has the id (even after the miss handler).
  // A factory that throws passes its error on.
  ObjectRef TryCreate(std::string_view classId);

  void SetMissHandler(MissHandler handler);

  template <class T>
  bool RegisterClass(std::string_view classId) {
    return Register(classId, [] { return std::static_pointer_cast<Object>(std::make_shared<T>()); });
  }

 private:
  ObjectRef CreateRegistered(std::string_view classId) const;

  mutable std::shared_mutex m_mutex;
  std::unordered_map<std::string, Factory, NoCaseHash, NoCaseEqual> m_factories;
  MissHandler m_missHandler;
};

// Creates an object by class id from the global registry; raises 429 ("ActiveX component
// can't create object") with the id if none can be made.
ObjectRef CreateObject(std::string_view classId);

// CreateObject, cast to the class or interface the caller needs; raises 13 if the
// object doesn't offer it.
template <class T>
std::shared_ptr<T> CreateObjectAs(std::string_view classId);

}  // namespace korad

#include "contracts/error.h"

template <class T>
std::shared_ptr<T> korad::CreateObjectAs(std::string_view classId) {
  auto typed = std::dynamic_pointer_cast<T>(CreateObject(classId));
  if (!typed) RaiseRuntimeError(kErrTypeMismatch);
  return typed;
}
