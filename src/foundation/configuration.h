// Configuration: one key and value of a module's configuration, with its section.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "contracts/error_reporter.h"
#include "contracts/object.h"

namespace korad {

class Configuration final : public Dispatchable<Configuration>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.Configuration";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<Configuration>& Dispatch();

  const std::string& Key() const noexcept { return m_key; }
  const std::string& Value() const noexcept { return m_value; }
  // The value as a date; raises the library's error, with no prefix of its own, when the
  // value isn't recognisable as one.
  OleDate ValueDate() const;
  // The leading number of the value; no number reads 0. Never fails.
  double ValueNumeric() const noexcept;

  void SetKey(std::string key) { m_key = std::move(key); }
  void SetValue(std::string value) { m_value = std::move(value); }
  const std::string& ConfigMoniker() const noexcept { return m_moniker; }
  void SetConfigMoniker(std::string moniker) { m_moniker = std::move(moniker); }
  // One mark with two uses: validation marks the keys it passed, and the configuration
  // pass marks keys that must not become attributes.
  bool Excluded() const noexcept { return m_excluded; }
  void SetExcluded(bool excluded) noexcept { m_excluded = excluded; }

 private:
  std::string m_key;
  std::string m_value;
  std::string m_moniker;
  bool m_excluded = false;
};

using ConfigurationRef = std::shared_ptr<Configuration>;

}  // namespace korad
