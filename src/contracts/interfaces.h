// The interfaces that plug-ins implement and the library calls, with their interface ids.
// Arguments passed by reference to a shared_ptr are in-out: the callee may replace the object.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "contracts/enums.h"
#include "contracts/value.h"

namespace korad {

class IncidentForms;
class IncidentState;
class Configurations;
class ValidationRules;
class Action;

class ILogManager {
 public:
  static constexpr std::string_view kInterfaceId = "{48A8F433-240D-470D-AEAB-50509994B9DA}";
  virtual ~ILogManager() = default;
  virtual void Log(std::string_view description, std::string_view category,
                   KORADSLog_Level logLevel = logLevelError) = 0;
  virtual void LogInfo(std::string_view logMessage, std::string_view messageSource) = 0;
  virtual bool DetailLoggingOn() = 0;
  virtual void SetDetailLoggingOn(bool on) = 0;
};
using LogManagerRef = std::shared_ptr<ILogManager>;

class IMonitor {
 public:
  static constexpr std::string_view kInterfaceId = "{460A07DB-33E9-4687-8742-64826E79E525}";
  virtual ~IMonitor() = default;
  // One measurement: add forms to `incidentForms`, keep what must be remembered in `incidentState`.
  virtual void GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                           std::shared_ptr<IncidentState>& incidentState,
                           const std::shared_ptr<Configurations>& configurations,
                           LogManagerRef& logManager) = 0;
  // Declares the configuration keys the monitor accepts.
  virtual void SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) = 0;
};

class IActor {
 public:
  static constexpr std::string_view kInterfaceId = "{59973C28-9EA2-4B08-8858-6916B5850D4A}";
  virtual ~IActor() = default;
  virtual void PerformAction(const std::shared_ptr<Action>& action,
                             const std::shared_ptr<Configurations>& configurations,
                             LogManagerRef& logManager) = 0;
  virtual void SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                                  const std::shared_ptr<ValidationRules>& attrValidationRules) = 0;
};

// Persistence of IncidentState.
class ISerializable {
 public:
  static constexpr std::string_view kInterfaceId = "{6353B8AD-451C-4FC6-B212-1ECED4E19B8A}";
  virtual ~ISerializable() = default;
  virtual void Save(const std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) = 0;
  virtual Value Load(std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) = 0;
  virtual std::string SerializeLocation() = 0;
  virtual void SetSerializeLocation(std::string_view location) = 0;
  // The names of the configurations in force.
  virtual void SetCurrentConfigs(const Value& configs) = 0;
};

// Implemented by a plug-in that must clean up when its module is removed.
class IRemoveModule {
 public:
  static constexpr std::string_view kInterfaceId = "{DBA4F02E-9A43-4823-8811-EEE0A6B0BDF2}";
  virtual ~IRemoveModule() = default;
  virtual void RemoveModule(LogManagerRef& logManager) = 0;
};

}  // namespace korad
