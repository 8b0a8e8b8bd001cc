// ActiveEvent: the event an action was raised for. Its typed properties are at the same
// time the standard keys of its Attributes, so a message's EVENT entries land in them.
//
// Four date fields are stored, as universal texts. Each has a legacy member that reads
// and writes it in local time through MVGLOBAL, with a warning on every write; and
// PreviousIncidentOccurrenceUniversal is a second name of LastResponseOccurrenceUniversal.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "action/mv_global.h"
#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "foundation/attributes.h"

namespace korad {

class ScriptingCompatibleDictionary;
class User;

class ActiveEvent final : public Dispatchable<ActiveEvent>, public ErrorReporter {
  struct Passkey {};

 public:
  static constexpr std::string_view kClassId = "KORADevServices.ActiveEvent";

  // An event wired to its Attributes, with a new User and key dictionary made by class id.
  static std::shared_ptr<ActiveEvent> Create();
  explicit ActiveEvent(Passkey) {}
  ~ActiveEvent() override;
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<ActiveEvent>& Dispatch();
  static const std::vector<std::string>& StandardAttributeNames();

  const AttributesRef& GetAttributes() const noexcept { return m_attributes; }
  void SetAttributes(AttributesRef attributes) { m_attributes = std::move(attributes); }
  // Kept in 32 bits, read back in 16.
  int16_t Priority() const noexcept { return static_cast<int16_t>(m_priority); }
  void SetPriority(int16_t priority) noexcept { m_priority = priority; }
  const std::string& Condition() const noexcept { return m_condition; }
  void SetCondition(std::string_view condition) { m_condition = condition; }
  const std::shared_ptr<ScriptingCompatibleDictionary>& KeyAttributes() const noexcept { return m_keyAttributes; }
  void SetKeyAttributes(std::shared_ptr<ScriptingCompatibleDictionary> keys) { m_keyAttributes = std::move(keys); }
  const std::string& ConditionDescription() const noexcept { return m_conditionDescription; }
  void SetConditionDescription(std::string_view text) { m_conditionDescription = text; }
  const std::string& Resource() const noexcept { return m_resource; }
  void SetResource(std::string_view resource) { m_resource = resource; }
  const std::string& ResourceDescription() const noexcept { return m_resourceDescription; }
  void SetResourceDescription(std::string_view text) { m_resourceDescription = text; }

  // Legacy local-time views: a get gives the default date text of the local time (empty
  // while nothing is stored); a let logs a warning when a logger is set, then stores the
  // universal text of the local date it is given.
  std::string InitialIncidentOccurrence() const { return LegacyGet(m_initialIncident); }
  void SetInitialIncidentOccurrence(const Value& local) {
    LegacyLet(m_initialIncident, local, "InitialIncidentOccurrence");
  }
  std::string LastIncidentOccurrence() const { return LegacyGet(m_lastIncident); }
  void SetLastIncidentOccurrence(const Value& local) { LegacyLet(m_lastIncident, local, "LastIncidentOccurrence"); }
  std::string InitialResponseOccurrence() const { return LegacyGet(m_initialResponse); }
  void SetInitialResponseOccurrence(const Value& local) {
    LegacyLet(m_initialResponse, local, "InitialResponseOccurrence");
  }
  std::string LastResponseOccurrence() const { return LegacyGet(m_lastResponse); }
  void SetLastResponseOccurrence(const Value& local) { LegacyLet(m_lastResponse, local, "LastResponseOccurrence"); }

  // The stored universal texts, unchanged either way.
  const std::string& InitialIncidentOccurrenceUniversal() const noexcept { return m_initialIncident; }
  void SetInitialIncidentOccurrenceUniversal(std::string_view text) { m_initialIncident = text; }
  const std::string& LastIncidentOccurrenceUniversal() const noexcept { return m_lastIncident; }
  void SetLastIncidentOccurrenceUniversal(std::string_view text) { m_lastIncident = text; }
  const std::string& InitialResponseOccurrenceUniversal() const noexcept { return m_initialResponse; }
  void SetInitialResponseOccurrenceUniversal(std::string_view text) { m_initialResponse = text; }
  const std::string& LastResponseOccurrenceUniversal() const noexcept { return m_lastResponse; }
  void SetLastResponseOccurrenceUniversal(std::string_view text) { m_lastResponse = text; }
  // The same field as LastResponseOccurrenceUniversal, as the server has always had it.
  const std::string& PreviousIncidentOccurrenceUniversal() const noexcept { return m_lastResponse; }
  void SetPreviousIncidentOccurrenceUniversal(std::string_view text) { m_lastResponse = text; }

  const std::shared_ptr<User>& GetUser() const noexcept { return m_user; }
  void SetUser(std::shared_ptr<User> user) { m_user = std::move(user); }
  // Breaks the links of the Attributes and of the User.
  void Finalize();
  // Hands the logger on to the User and the Attributes.
  void SetLogManager(LogManagerRef logManager) override;

 private:
  std::string LegacyGet(const std::string& universal) const;
  void LegacyLet(std::string& universal, const Value& local, std::string_view member);

  AttributesRef m_attributes;
  int32_t m_priority = 0;
  std::string m_condition;
  std::shared_ptr<ScriptingCompatibleDictionary> m_keyAttributes;
  std::string m_conditionDescription;
  std::string m_resource;
  std::string m_resourceDescription;
  std::string m_initialIncident;
  std::string m_lastIncident;
  std::string m_initialResponse;
  std::string m_lastResponse;
  std::shared_ptr<User> m_user;
  std::unique_ptr<MVGLOBAL> m_global;
};

using ActiveEventRef = std::shared_ptr<ActiveEvent>;

}  // namespace korad
