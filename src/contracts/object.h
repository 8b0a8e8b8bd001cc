// The object model: reference-counted objects that know their class id and offer late
// binding of properties and no-argument methods by name.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "contracts/text.h"
#include "contracts/value.h"

namespace korad {

class Object : public std::enable_shared_from_this<Object> {
 public:
  virtual ~Object() = default;

  // The id the object was created by, for instance "KORADevServices.IncidentForm".
  virtual std::string_view ClassId() const noexcept = 0;
  // The class part of the id, which is what the host's TypeName shows.
  std::string_view ClassName() const noexcept;

  // Late binding. Names compare case-insensitively. An unknown name raises 438.
  virtual Value GetProperty(std::string_view name);
  virtual void LetProperty(std::string_view name, const Value& value);
  virtual Value CallMethod(std::string_view name);
  virtual bool HasProperty(std::string_view name) const;
  virtual bool HasMethod(std::string_view name) const;
};

// The late-binding table of one class: property get/let and no-argument methods by name.
template <class T>
class DispatchTable {
 public:
  using Getter = std::function<Value(T&)>;
  using Letter = std::function<void(T&, const Value&)>;
  using Method = std::function<Value(T&)>;

  DispatchTable& Property(std::string name, Getter get, Letter let = nullptr) {
    m_properties[std::move(name)] = {std::move(get), std::move(let)};
    return *this;
  }
  DispatchTable& Call(std::string name, Method method) {
    m_methods[std::move(name)] = std::move(method);
    return *this;
  }

  const Getter* FindGetter(std::string_view name) const {
    auto it = m_properties.find(name);
    return it != m_properties.end() && it->second.get ? &it->second.get : nullptr;
  }
  const Letter* FindLetter(std::string_view name) const {
    auto it = m_properties.find(name);
    return it != m_properties.end() && it->second.let ? &it->second.let : nullptr;
  }
  const Method* FindMethod(std::string_view name) const {
    auto it = m_methods.find(name);
    return it != m_methods.end() ? &it->second : nullptr;
  }

 private:
  struct Accessors {
    Getter get;
    Letter let;
  };
  std::unordered_map<std::string, Accessors, NoCaseHash, NoCaseEqual> m_properties;
  std::unordered_map<std::string, Method, NoCaseHash, NoCaseEqual> m_methods;
};

[[noreturn]] void RaiseNoSuchMember(std::string_view className, std::string_view name);

// Base for a class with a late-binding table: Derived supplies
//   static const DispatchTable<Derived>& Dispatch();
// and the class id; the table is built once and shared by all instances.
template <class Derived>
class Dispatchable : public Object {
 public:
  Value GetProperty(std::string_view name) override {
    if (auto* get = Derived::Dispatch().FindGetter(name)) return (*get)(Self());
    RaiseNoSuchMember(ClassName(), name);
  }
  void LetProperty(std::string_view name, const Value& value) override {
    if (auto* let = Derived::Dispatch().FindLetter(name)) return (*let)(Self(), value);
    RaiseNoSuchMember(ClassName(), name);
  }
  Value CallMethod(std::string_view name) override {
    if (auto* method = Derived::Dispatch().FindMethod(name)) return (*method)(Self());
    RaiseNoSuchMember(ClassName(), name);
  }
  bool HasProperty(std::string_view name) const override {
    return Derived::Dispatch().FindGetter(name) || Derived::Dispatch().FindLetter(name);
  }
  bool HasMethod(std::string_view name) const override {
    return Derived::Dispatch().FindMethod(name) != nullptr;
  }

 private:
  Derived& Self() { return static_cast<Derived&>(*this); }
};

}  // namespace korad
