// Configurations: the keys and values of every section of one module's configuration,
// with a cursor on one section (the configuration moniker), and the run-time facts of the
// current cycle.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/collection.h"
#include "contracts/enums.h"
#include "foundation/configuration.h"

namespace korad {

class Application;

class Configurations final : public Dispatchable<Configurations>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.Configurations";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Configurations>& Dispatch();

  // Lookups in the current section; keys compare trimmed and upper-cased.
  bool Exists(std::string_view key) const;
  // True for a present key whose value is only blanks; a missing key is not empty.
  bool IsEmpty(std::string_view key) const;
  // Raises "The configuration '<key>' could not be found" through the handler.
  ConfigurationRef Item(std::string_view key) const;
  int32_t Count() const;
  // Adds to the current section, or replaces the value of a key it already holds.
  void Add(std::string_view key, std::string_view value);
  // Iteration over the current section.
  auto begin() const { return m_current.begin(); }
  auto end() const { return m_current.end(); }

  const std::string& ConfigMoniker() const noexcept { return m_moniker; }
  // Selects a section; blanks select "Global".
  void SetConfigMoniker(std::string_view moniker);
  void ClearConfigs();

  const std::string& Error() const noexcept { return m_error; }
  void SetError(std::string error) { m_error = std::move(error); }
  OleDate LastRunTime() const noexcept { return m_lastRunTime; }
  void SetLastRunTime(OleDate when) noexcept { m_lastRunTime = when; }
  int32_t Frequency() const noexcept { return m_frequency; }
  void SetFrequency(int32_t seconds) noexcept { m_frequency = seconds; }
  int32_t WaitAlert() const noexcept { return m_waitAlert; }
  int32_t WaitResolve() const noexcept { return m_waitResolve; }
  const std::string& WaitAlertUnits() const noexcept { return m_waitAlertUnits; }
  const std::string& WaitResolveUnits() const noexcept { return m_waitResolveUnits; }
  void SetWaitAlert(int32_t wait, std::string units) {
    m_waitAlert = wait;
    m_waitAlertUnits = std::move(units);
  }
  void SetWaitResolve(int32_t wait, std::string units) {
    m_waitResolve = wait;
    m_waitResolveUnits = std::move(units);
  }
  bool AllowTaskTerminate() const noexcept { return m_allowTaskTerminate; }
  void SetAllowTaskTerminate(bool allow) noexcept { m_allowTaskTerminate = allow; }
  const std::string& Settings() const noexcept { return m_settings; }
  void SetSettings(std::string settings) { m_settings = std::move(settings); }
  RunMode GetRunMode() const noexcept { return m_runMode; }
  void SetRunMode(RunMode mode) noexcept { m_runMode = mode; }

  // 1 while the agent service runs (always 1 outside the service run mode), else 0.
  int32_t ServiceStatus();
  OleDate UTCNow() const;

 private:
  std::string CompositeKey(std::string_view key) const;

  Collection<ConfigurationRef> m_all;      // every section, by composite key
  Collection<ConfigurationRef> m_current;  // the current section, by key
  std::string m_moniker = "Global";
  std::string m_error;
  OleDate m_lastRunTime;
  int32_t m_frequency = 0;
  int32_t m_waitAlert = 0;
  int32_t m_waitResolve = 0;
  std::string m_waitAlertUnits;
  std::string m_waitResolveUnits;
  bool m_allowTaskTerminate = false;
  std::string m_settings;
  RunMode m_runMode = ModeMorvane;
  Application* m_application = nullptr;
};

using ConfigurationsRef = std::shared_ptr<Configurations>;

}  // namespace korad
