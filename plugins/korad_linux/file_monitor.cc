#include <cmath>
#include <optional>
#include <string>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "incident/incident_forms.h"
#include "korad_linux/monitors.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {

void FileMonitor::SetValidationRules(const std::shared_ptr<ValidationRules>& validationRules) {
  validationRules->AddEx("Path", true, {}, {}, "The file or folder to watch", "String");
  validationRules->AddEx("MustExist", false, "True,False", "True",
                         "True: alert when the path is missing; False: alert when it exists", "Boolean");
  AddNumberRule(*validationRules, "MaxAgeSeconds", "", "Seconds since the last write after which to alert; blank: no check");
  AddNumberRule(*validationRules, "MaxSizeBytes", "", "Size in bytes above which to alert; blank: no check");
  AddReportUpdatesRule(*validationRules);
}

void FileMonitor::GetIncident(std::shared_ptr<IncidentForms>& incidentForms,
                              std::shared_ptr<IncidentState>& incidentState,
                              const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const MonitorKeys keys(*configurations, kClassId);
  const std::string path = keys.Text("Path");
  if (path.empty()) keys.Invalid("Path", path, "a path");
  const bool mustExist = keys.Boolean("MustExist", true);
  const std::optional<double> maxAge = keys.OptionalNumber("MaxAgeSeconds");
  const std::optional<double> maxSize = keys.OptionalNumber("MaxSizeBytes");
  const bool reportUpdates = keys.Boolean(kReportUpdatesKey, false);

  const std::optional<FileInfo> info = Platform::Current().GetFileSystem().Stat(path);
  const Value pathAttribute = FormAttribute("Path", path);
  if (!mustExist) {
    ReportCondition(*incidentForms, info.has_value(), path, "FileExists", {pathAttribute}, reportUpdates, "Path");
    return;
  }
  ReportCondition(*incidentForms, !info, path, "FileMissing", {pathAttribute}, reportUpdates, "Path");
  if (!info) {
    TraceMonitor(logManager, kClassId, path + " does not exist");
    return;  // age and size wait for the file; their incidents stay as they were
  }

  const double age = info->modifiedUtc.SecondsUntil(Platform::Current().GetClock().UtcNow());
  TraceMonitor(logManager, kClassId,
               path + ": " + std::to_string(info->size) + " bytes, written " + NumberText(age, 0) + " seconds ago");
  if (maxAge) {
    ReportCondition(*incidentForms, age > *maxAge, path, "FileTooOld",
                  {pathAttribute, FormAttribute("AgeSeconds", NumberText(age, 0)),
                   FormAttribute("MaxAgeSeconds", NumberText(*maxAge, 0)),
                   FormAttribute("LastWriteUTC", FormatDate(info->modifiedUtc))},
                  reportUpdates, "Path");
  }
  if (maxSize) {
    ReportCondition(*incidentForms, static_cast<double>(info->size) > *maxSize, path, "FileTooLarge",
                  {pathAttribute, FormAttribute("SizeBytes", std::to_string(info->size)),
                   FormAttribute("MaxSizeBytes", NumberText(*maxSize, 0))},
                  reportUpdates, "Path");
  }
}

}  // namespace korad
