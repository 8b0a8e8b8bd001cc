// IncidentForm: one incident candidate, a resource in a condition, with priority, time,
// alert status, the counters of the alert and resolve delays, and free attributes. Its
// typed properties are at the same time the standard attributes of its Attributes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/enums.h"
#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "foundation/attributes.h"

namespace korad {

class IncidentForm final : public Dispatchable<IncidentForm>, public ErrorReporter {
  struct Passkey {};

 public:
  static constexpr std::string_view kClassId = "KORADevServices.IncidentForm";
  // "Not yet counted" for both poll counters.
  static constexpr int32_t kPollsUnset = -2;

  // A new form wired to its Attributes. Forms are made only this way, since the
  // Attributes need the form itself as their parent.
  static std::shared_ptr<IncidentForm> Create();
  explicit IncidentForm(Passkey);
  ~IncidentForm() override;

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<IncidentForm>& Dispatch();
  // The upper-case names the form hands its Attributes, in order.
  static const std::vector<std::string>& StandardAttributeNames();

  const std::string& Resource() const noexcept { return m_resource; }
  // Held without blanks; raises "Resource cannot be empty" when nothing is left.
  void SetResource(std::string_view resource);
  const std::string& Condition() const noexcept { return m_condition; }
  void SetCondition(std::string_view condition);
  OleDate OccurrenceTimeUTC() const noexcept { return m_occurrenceTimeUTC; }
  void SetOccurrenceTimeUTC(OleDate when) noexcept { m_occurrenceTimeUTC = when; }
  // The UTC time seen in local time; the setter is kept for plug-ins and logs each use.
  OleDate OccurrenceTime() const;
  void SetOccurrenceTime(OleDate local);
  int16_t Priority() const noexcept { return m_priority; }
  // The only typed property whose change marks an update.
  void SetPriority(int16_t priority);
  const AttributesRef& GetAttributes() const noexcept { return m_attributes; }
  void SetAttributes(AttributesRef attributes) { m_attributes = std::move(attributes); }
  AlertStatusEnum AlertStatus() const noexcept { return m_alertStatus; }
  // An alert cancels a resolve in progress. No range check: 5 marks a merged form.
  void SetAlertStatus(int32_t status);
  const std::string& KeyAttributes() const noexcept { return m_keyAttributes; }
  void SetKeyAttributes(std::string_view names);
  const std::string& ConfigMoniker() const noexcept { return m_configMoniker; }
  void SetConfigMoniker(std::string moniker) { m_configMoniker = std::move(moniker); }
  bool ProcessedByMM() const noexcept { return m_processedByMM; }
  void SetProcessedByMM(bool processed) noexcept { m_processedByMM = processed; }
  int32_t MVSendAlertPolls() const noexcept { return m_sendAlertPolls; }
  void SetMVSendAlertPolls(int32_t polls);
  int32_t MVResolveAlertPolls() const noexcept { return m_resolveAlertPolls; }
  void SetMVResolveAlertPolls(int32_t polls);
  // Retained: reads 0, ignores what it is told.
  int32_t AlertAfterRetryCount() const noexcept { return 0; }
  void SetAlertAfterRetryCount(int32_t) noexcept {}

  // Breaks the cycle with the Attributes: the standard names are unreachable afterwards.
  void Finalize();

  // Internal. Hands the log manager on to the Attributes too.
  void SetLogManager(LogManagerRef logManager) override;
  bool MergeCarried() const noexcept { return m_mergeCarried; }
  void SetMergeCarried(bool carried) noexcept { m_mergeCarried = carried; }
  bool OnceUpdateOccurred() const noexcept { return m_onceUpdateOccurred; }
  void SetOnceUpdateOccurred(bool occurred) noexcept { m_onceUpdateOccurred = occurred; }
  int32_t PropertiesCRC() const noexcept { return m_propertiesCRC; }
  void SetPropertiesCRC(int32_t crc) noexcept { m_propertiesCRC = crc; }
  OleDate PotentialMergedOccurrenceTimeUTC() const noexcept { return m_potentialMergedOccurrenceTimeUTC; }
  void SetPotentialMergedOccurrenceTimeUTC(OleDate when) noexcept { m_potentialMergedOccurrenceTimeUTC = when; }
  // The form's own mark or that of its Attributes.
  bool UpdateOccurred() const;
  void ResetUpdateOccurred();

 private:
  void SetPolls(int32_t& field, int32_t polls, std::string_view name);

  std::string m_resource;
  std::string m_condition;
  OleDate m_occurrenceTimeUTC;
  int16_t m_priority = 0;
  AttributesRef m_attributes;
  AlertStatusEnum m_alertStatus = AlertOnce;
  bool m_updateOccurred = false;
  std::string m_keyAttributes;
  std::string m_configMoniker;
  bool m_processedByMM = false;
  bool m_mergeCarried = false;
  bool m_onceUpdateOccurred = false;
  OleDate m_potentialMergedOccurrenceTimeUTC;
  int32_t m_sendAlertPolls = kPollsUnset;
  int32_t m_resolveAlertPolls = kPollsUnset;
  int32_t m_propertiesCRC = 0;
};

using IncidentFormRef = std::shared_ptr<IncidentForm>;

}  // namespace korad
