// IncFormSerialize: keeps a monitor's IncidentForms between runs, so the counters of
// pending alerts and resolves survive a restart. One file, home\Serialize\IF<MonitorID>.SER,
// of "[IncidentForm]" ... "[/IncidentForm]" blocks of "key=value" lines with CR LF ends.
// Only the fields a decision needs travel; what isn't in the file (OccurrenceTimeUTC
// beyond the second, merge marks, RelevantToUpdates) has a new form's value after a load.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "incident/serialized_file.h"
#include "platform/date_time_converter.h"

namespace korad {

class IncidentForms;

class IncFormSerialize final : public Dispatchable<IncFormSerialize>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IncFormSerialize";

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<IncFormSerialize>& Dispatch();

  // Reads the file into `incidentForms`. A collection that shows forms is replaced by a
  // new one (without a log manager); a null one too. A missing file is a first run. A
  // block without Resource or Condition is dropped silently; a damaged file loads as far
  // as it goes. Failures are logged on the collection's log manager and swallowed.
  void Load(std::shared_ptr<IncidentForms>& incidentForms, std::string_view monitorId);
  // Writes every form of every configuration; with no forms the file is written empty.
  // The file is replaced atomically: a failed save leaves the previous file whole.
  void Save(const std::shared_ptr<IncidentForms>& incidentForms, std::string_view monitorId);

  const std::string& SerializeLocation() const noexcept { return m_folder.Location(); }
  // Blank restores the default (home + "\Serialize"); one trailing separator is dropped.
  void SetSerializeLocation(std::string_view location);

  // SerializeLocation + "\IF" + the monitor id without blanks + ".SER".
  std::string FilePath(std::string_view monitorId) const;

 private:
  DateTimeConverter& Converter();
  void SaveBody(const IncidentForms& forms, std::string_view monitorId);
  void LoadBody(std::shared_ptr<IncidentForms>& forms, std::string_view monitorId);

  SerializedFileFolder m_folder;
  std::optional<DateTimeConverter> m_converter;
};

}  // namespace korad
