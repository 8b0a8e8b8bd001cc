// XMLSerializer: keeps a monitor's IncidentState in one file, home\Serialize\<MonitorID>.SER.
// In spite of the name the file is a plain list of "RAWKEY=value" lines with CR LF ends;
// a CR LF inside a value travels as "**morvaneCrLf**". Dates travel in universal form
// only, and their local twins are rebuilt on reading. Saving also trims the state: what
// belongs to a configuration that is no longer in CurrentConfigs leaves memory and file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/interfaces.h"
#include "contracts/object.h"
#include "incident/serialized_file.h"
#include "platform/date_time_converter.h"

namespace korad {

class XMLSerializer final : public Dispatchable<XMLSerializer>, public ISerializable {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.XMLSerializer";

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<XMLSerializer>& Dispatch();

  // Writes the state's items of the configurations in force (and "MVGLOBAL-" items) and
  // drops the others from the state. Does nothing while CurrentConfigs is Empty. The
  // file is replaced atomically: a failed save leaves the previous file whole. Failures
  // are logged on the state's LogManager (category "Serializer") and swallowed.
  void Save(const std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) override;
  // Empties the state's current moniker and reads the file into it; a missing file is a
  // first run. A state that is null is replaced by a new one. Lines of a damaged file
  // are read as far as they go; what can't be used is logged. Always Empty.
  Value Load(std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) override;

  std::string SerializeLocation() override { return m_folder.Location(); }
  // Blank restores the default (home + "\Serialize"); one trailing separator is dropped.
  void SetSerializeLocation(std::string_view location) override;
  // Empty, or the configuration names: a text is taken as a comma-separated list (the
  // form the update scheduler builds). Objects raise 13.
  void SetCurrentConfigs(const Value& configs) override;
  void SetCurrentConfigs(std::vector<std::string> configs) { m_currentConfigs = std::move(configs); }
  void ClearCurrentConfigs() noexcept { m_currentConfigs.reset(); }

  // SerializeLocation + "\" + the monitor id without blanks + ".SER".
  std::string FilePath(std::string_view monitorId) const;

 private:
  DateTimeConverter& Converter();
  void SaveBody(IncidentState& state, std::string_view monitorId);
  void LoadBody(std::shared_ptr<IncidentState>& state, std::string_view monitorId);

  SerializedFileFolder m_folder;
  std::optional<std::vector<std::string>> m_currentConfigs;
  std::optional<DateTimeConverter> m_converter;
};

}  // namespace korad
