#include "contracts/class_registry.h"

#include <mutex>

#include "contracts/error.h"
#include "contracts/object.h"

namespace korad {

ClassRegistry& ClassRegistry::Global() {
  static ClassRegistry* registry = new ClassRegistry();  // outlives every service thread
  return *registry;
}

bool ClassRegistry::Register(std::string_view classId, Factory factory) {
  std::unique_lock lock(m_mutex);
  return m_factories.emplace(std::string(classId), std::move(factory)).second;
}

bool ClassRegistry::IsRegistered(std::string_view classId) const {
  std::shared_lock lock(m_mutex);
  return m_factories.find(classId) != m_factories.end();
}

std::vector<std::string> ClassRegistry::ClassIds() const {
  std::shared_lock lock(m_mutex);
  std::vector<std::string> ids;
  ids.reserve(m_factories.size());
  for (const auto& [id, factory] : m_factories) ids.push_back(id);
  return ids;
}

void ClassRegistry::SetMissHandler(MissHandler handler) {
  std::unique_lock lock(m_mutex);
  m_missHandler = std::move(handler);
}

ObjectRef ClassRegistry::CreateRegistered(std::string_view classId) const {
  Factory factory;
  {
    std::shared_lock lock(m_mutex);
    auto it = m_factories.find(classId);
    if (it == m_factories.end()) return nullptr;
    factory = it->second;
  }
  // The factory runs unlocked: constructors may create further objects.
  return factory();
}

ObjectRef ClassRegistry::TryCreate(std::string_view classId) {
  if (ObjectRef made = CreateRegistered(classId)) return made;
  MissHandler handler;
  {
    std::shared_lock lock(m_mutex);
    handler = m_missHandler;
  }
  if (handler && handler(*this, classId)) return CreateRegistered(classId);
  return nullptr;
}

ObjectRef CreateObject(std::string_view classId) {
  if (ObjectRef made = ClassRegistry::Global().TryCreate(classId)) return made;
  throw Error(kErrCantCreateObject, "", RuntimeErrorText(kErrCantCreateObject) + ": " + std::string(classId));
}

}  // namespace korad
