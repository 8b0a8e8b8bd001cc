// ActionManager: the engine of one actor section of the agent service. The service sets
// MyActorID, ConfigurationSection (and maybe ConfigurationSource) and hands each action
// message to PerformAction. A run creates the actor once, asks it for its rules, reads
// and validates the section, fills a new Action from the configured defaults and the
// message, validates its attributes, writes an audit line and calls the actor.
//
// An error whose description ends in "%mvNoRetry%" tells the service not to offer the
// message again; in the service's run mode PerformAction raises errors unchanged so that
// the marker arrives.
//
// One class, its behaviour split by concern:
//   action_manager.cc     construction, properties, PerformAction, the actor, the sample run
//   action_message.cc     CreateAction: the message dialect, one table
//   action_attributes.cc  FillInitialAttributes, ValidateAttributes and its helpers, the audit line
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/enums.h"
#include "contracts/error_reporter.h"
#include "contracts/interfaces.h"
#include "contracts/object.h"

namespace korad {

class Action;
class ApplicationObject;
class Attributes;
class Configurations;
class LogManager;
class ValidationRules;

class ActionManager final : public Dispatchable<ActionManager>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ActionManager";
  static constexpr std::string_view kNoRetry = "%mvNoRetry%";

  ActionManager() = default;
  ~ActionManager() override;
  ActionManager(const ActionManager&) = delete;
  ActionManager& operator=(const ActionManager&) = delete;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ActionManager>& Dispatch();

  // ---- The service's surface ----
  // PerformAction without its response.
  void SetXML(std::string_view xml);
  // The whole run; the actor's Response. In ModeMorvane errors reach the caller unchanged;
  // in the other modes they are reported as "ActionManager.XML(Let): " + description.
  std::string PerformAction(std::string_view xml);

  // ---- Properties ----
  const std::string& MyActorID() const noexcept { return m_myActorId; }
  void SetMyActorID(std::string_view id) { m_myActorId = id; }
  int32_t MyEntityID() const noexcept { return m_myEntityId; }
  void SetMyEntityID(int32_t id) noexcept { m_myEntityId = id; }
  const std::string& ConfigurationSource() const noexcept { return m_configurationSource; }
  void SetConfigurationSource(std::string_view path) { m_configurationSource = path; }
  const std::string& ConfigurationSection() const noexcept { return m_configurationSection; }
  // Also sets ConfigurationSource to <home>/ModuleConfigs/<section>.INI while that is empty.
  void SetConfigurationSection(std::string_view section);
  RunMode GetRunMode() const noexcept { return m_eRunMode; }
  void SetRunMode(RunMode mode) noexcept { m_eRunMode = mode; }
  // An action set from outside; nothing in normal use.
  const std::shared_ptr<korad::Action>& GetAction() const noexcept { return m_action; }
  // Finalises and drops the action set before, then keeps `action` unless it is empty.
  void SetAction(std::shared_ptr<korad::Action> action);
  // A run over made-up data, for debugging an actor.
  void RunSampleAction();
  // Fills `action` from a message.
  void CreateAction(std::string_view actionString, std::shared_ptr<korad::Action>& action);

 private:
  // ---- action_manager.cc ----
  void CreateActorObjects();
  // The body of PerformAction after the actor exists; `action` is the run's action.
  std::string RunAction(std::string_view xml, std::shared_ptr<korad::Action>& action);
  // A trace line at logLevelDebug under MyActorID.
  void Trace(std::string_view text) const;
  void AdoptLogManager(std::shared_ptr<LogManager> logManager);
  // Raises a validation failure, with the retry marker in the service's run mode.
  [[noreturn]] void RaiseRunFailure(std::string_view what, const std::string& message) const;

  // ---- action_attributes.cc ----
  void FillInitialAttributes(const std::shared_ptr<Configurations>& configurations, korad::Action& action);
  bool AttrRuleExists(std::string_view key, korad::Action& action);
  std::string ActionAttrValue(std::string_view key, korad::Action& action);
  void AddAttributeDefaultValue(std::string_view key, std::string_view value, korad::Action& action);
  std::string GetAttributeOnly(std::string_view key);
  bool ValidateAttributes(korad::Action& action, ValidationRules& rules, std::string& message);
  std::string BuildActionLogMessage(korad::Action& action);

  std::string m_configurationSource;
  std::string m_configurationSection;
  std::string m_myActorId;
  std::shared_ptr<ApplicationObject> m_application;
  std::shared_ptr<LogManager> m_logManager;
  std::shared_ptr<IActor> m_actor;
  std::shared_ptr<korad::Action> m_action;
  int32_t m_myEntityId = 0;
  RunMode m_eRunMode = ModeMorvane;
};

}  // namespace korad
