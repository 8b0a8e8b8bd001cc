// The plug-in interfaces as creatable classes with empty bodies, so that a host can
// create them by class id as it always could.
#pragma once

#include "contracts/interfaces.h"
#include "contracts/object.h"

namespace korad {

class EmptyMonitor final : public Object, public IMonitor {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IMonitor";
  std::string_view ClassId() const noexcept override { return kClassId; }
  void GetIncident(std::shared_ptr<IncidentForms>&, std::shared_ptr<IncidentState>&,
                   const std::shared_ptr<Configurations>&, LogManagerRef&) override {}
  void SetValidationRules(const std::shared_ptr<ValidationRules>&) override {}
};

class EmptyActor final : public Object, public IActor {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IActor";
  std::string_view ClassId() const noexcept override { return kClassId; }
  void PerformAction(const std::shared_ptr<Action>&, const std::shared_ptr<Configurations>&,
                     LogManagerRef&) override {}
  void SetValidationRules(const std::shared_ptr<ValidationRules>&,
                          const std::shared_ptr<ValidationRules>&) override {}
};

class EmptySerializable final : public Object, public ISerializable {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ISerializable";
  std::string_view ClassId() const noexcept override { return kClassId; }
  void Save(const std::shared_ptr<IncidentState>&, std::string_view) override {}
  Value Load(std::shared_ptr<IncidentState>&, std::string_view) override { return {}; }
  std::string SerializeLocation() override { return {}; }
  void SetSerializeLocation(std::string_view) override {}
  void SetCurrentConfigs(const Value&) override {}
};

class EmptyRemoveModule final : public Object, public IRemoveModule {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IRemoveModule";
  std::string_view ClassId() const noexcept override { return kClassId; }
  void RemoveModule(LogManagerRef&) override {}
};

}  // namespace korad
