// ConfigurationScheduledToRun: whether the configuration in hand runs in this pass, and
// the earliest moment any configuration is due (NextRunTime), which is all the idle tick
// looks at. The schedule is UTC; the optional window of mvStartTime/mvEndTime is local.
#include <cmath>
#include <string>
#include <vector>

#include "foundation/configurations.h"
#include "foundation/global_functions.h"
#include "monitor/engine_text.h"
#include "monitor/monitor_manager.h"
#include "monitor/whole_seconds.h"
#include "platform/date_time_converter.h"

namespace korad {
namespace {

// mvFrequency as the host's currency conversion reads it: four decimals, half to even.
double FrequencyNumber(const std::string& text) { return RoundHalfEven(Value(text).ToDouble() * 10000.0) / 10000.0; }

int32_t SecondsPerUnit(const std::string& units) {
  const std::string upper = UpperAscii(units);
  if (upper == "MINUTES") return 60;
  if (upper == "HOURS") return 3600;
  if (upper == "DAYS") return 24 * 3600;
  return 1;  // "SECONDS", and any word it doesn't know
}

// The time of day of a window bound; 0 (no bound) when blank or not a date.
OleDate WindowBound(Configurations& config, std::string_view key) {
  if (!config.Exists(key)) return OleDate();
  const ConfigurationRef item = config.Item(key);
  if (!item) return OleDate();
  if (const std::optional<OleDate> date = ParseDate(item->Value())) return TimeOfDayOf(*date);
  return OleDate();
}

}  // namespace

bool MonitorManager::ConfigurationScheduledToRun() {
  bool result = false;
  Guard("MonitorManager.ConfigurationScheduledToRun: ", [&] {
    if (!m_configurations) return;
    Configurations& config = *m_configurations;
    const std::string label = "'" + config.ConfigMoniker() + "' on monitor '" + m_monitorName + "'";
    const int32_t seconds = FrequencySeconds(config, label);
    bool canRun = false;
    const OleDate nextRun = NextRunOf(NormalizeDate(config.LastRunTime()), seconds, label, canRun);
    // A configuration that doesn't run still counts with its own next run.
    NoteNextRunTime(nextRun);
    if (canRun) canRun = InsideWindow(config, label);
    result = canRun;

    // The script decides about GetIncident only; the configuration still runs.
    if (!m_scheduleScript.empty() && canRun) {
      bool scriptResult = true;
      ProcessScheduleScript(m_scheduleScript, std::vector<std::string>{std::to_string(seconds)}, scriptResult);
      if (!scriptResult) m_scriptSaidFalse = true;
    }
    Trace("Scheduled next run time for " + label + ": " + DateText(m_nextRunTime), logLevelInfo);
    // A wait without mvFrequency or its units raises here, after the result is stored.
    if (canRun) ShowWaits(config);
  });
  return result;
}

int32_t MonitorManager::FrequencySeconds(Configurations& config, const std::string& label) {
  double frequency = 1;
  std::string units = "MINUTES";
  if (!config.Exists("mvFrequency")) {
    Trace("No frequency set for " + label + " - Default is 1 minute");
  } else {
    frequency = FrequencyNumber(ConfigValue(config, "mvFrequency"));
    units = config.Exists("mvFrequencyUnits") ? ConfigValue(config, "mvFrequencyUnits") : "SECONDS";
  }
  const int32_t seconds = Value(frequency * SecondsPerUnit(units)).ToLong();
  config.SetFrequency(seconds);
  Trace("Run frequency in seconds for  " + label + " = " + std::to_string(seconds));
  return seconds;
}

OleDate MonitorManager::NextRunOf(OleDate lastRunTime, int32_t seconds, const std::string& label, bool& canRun) {
  Trace(label + " last runtime = " + DateText(lastRunTime), logLevelInfo);
  OleDate nextRun;
  if (lastRunTime.IsZero() || lastRunTime > m_runStart) {
    // A first run, or a clock set back past the last run, runs now.
    canRun = true;
    nextRun = NormalizeDate(UTCNow()).AddSeconds(seconds);
    Trace(label + " will run now. First run time: " + DateText(m_runStart) + " - next run time: " + DateText(nextRun),
          logLevelInfo);
  } else {
    nextRun = NormalizeDate(lastRunTime.AddSeconds(seconds));
    canRun = m_runStart >= nextRun;
    const std::string tail = " Last run time: " + DateText(lastRunTime) + " - next run time: " + DateText(nextRun);
    if (canRun) {
      Trace(label + " will run now." + tail, logLevelInfo);
    } else {
      Trace(label + " will not run now." + tail);
    }
  }
  // The schedule drifts by the lateness of each tick.
  if (canRun) nextRun = NormalizeDate(m_runStart.AddSeconds(seconds));
  Trace("Scheduled next run time for " + label + ": " + DateText(nextRun), logLevelInfo);
  return nextRun;
}

void MonitorManager::NoteNextRunTime(OleDate nextRun) {
  if (!m_nextRunTime.IsZero() && m_nextRunTime < nextRun) return;
  Trace("Setting the monitor next run time to " + DateText(nextRun) + " (changed from " + DateText(m_nextRunTime) +
            ")",
        logLevelInfo);
  m_nextRunTime = nextRun;
}

// A lone bound, or one at exactly midnight, is no window.
bool MonitorManager::InsideWindow(Configurations& config, const std::string& label) {
  const OleDate start = WindowBound(config, "mvStartTime");
  const OleDate end = WindowBound(config, "mvEndTime");
  if (start.IsZero() || end.IsZero()) return true;
  const OleDate nowLocal = TimeOfDayOf(DateTimeConverter().UtcToLocal(m_runStart));
  bool inside = false;
  if (end > start) {
    inside = nowLocal >= start && nowLocal <= end;
  } else {
    // Over midnight; equal bounds make a window that is open all day.
    inside = nowLocal >= start || nowLocal <= end;
  }
  Trace("Start time of " + DateText(start) + "/End time of " + DateText(end) + " (2) was provided for " + label +
        ": " + DateText(nowLocal) + "/" + DateText(end) + ". Can run yet = " + BoolText(inside));
  return inside;
}

void MonitorManager::ShowWaits(Configurations& config) {
  const auto show = [&](std::string_view key, auto setWait, std::string_view name) {
    if (!config.Exists(key) || !(Value(ConfigValue(config, key)).ToDouble() > 0)) return;
    const int32_t wait = Value(Value(ConfigValue(config, "mvFrequency")).ToDouble() *
                               Value(ConfigValue(config, key)).ToDouble())
                             .ToLong();
    const std::string units = ConfigValue(config, "mvFrequencyUnits");
    (config.*setWait)(wait, units);
    Trace("Set " + std::string(name) + " (for display) to " + std::to_string(wait) + " " + units);
  };
  show("mvWaitAlert", &Configurations::SetWaitAlert, "WaitAlert");
  show("mvWaitResolve", &Configurations::SetWaitResolve, "WaitResolve");
}

}  // namespace korad
