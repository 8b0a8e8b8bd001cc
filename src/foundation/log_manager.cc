#include "foundation/log_manager.h"

#include "contracts/error_reporter.h"
#include "platform/application.h"
#include "platform/message_box.h"
#include "platform/platform.h"

namespace korad {
namespace {
constexpr std::string_view kLogManagerSource = "DevServices";

std::string Prefixed(std::string_view prefix, std::string_view text) {
  std::string line(prefix);
  line.append(text);
  return line;
}
}  // namespace

void LogManager::ReportError(const std::string& description, int32_t number, bool /*reraise*/) const {
  throw Error(number, std::string(kLogManagerSource), description);
}

template <class Body>
void LogManager::Guard(std::string_view routinePrefix, Body&& body) {
  TrapErrors(routinePrefix, body, [this](const std::string& description, int32_t number) {
    ReportError(description, number, true);
  });
}

LogManager::LogManager() {
  Guard("LogManager.Class_Initialize: ", [&] { m_application = &Platform::Current().GetApplication(); });
}

void LogManager::Log(std::string_view description, std::string_view category, KORADSLog_Level logLevel) {
  // No trap here: a failing writer passes to the caller.
  if (m_eRunMode != ModeMorvane) {
    // The debug modes show errors and low warnings only; the comparison is kept as the
    // run modes have always done it.
    if (logLevel <= logLevelError) {
      ShowMessageBox(Prefixed("ERROR: ", description));
    } else if (logLevel == logLevelWarningLow) {
      ShowMessageBox(Prefixed("WARNING: ", description));
    }
    return;
  }
  const std::string text = logLevel <= logLevelError ? Prefixed("ERROR: ", description) : std::string(description);
  m_application->Logger()->WriteLine(text, category, logLevel, 0);
}

void LogManager::LogInfo(std::string_view logMessage, std::string_view messageSource) {
  Guard("LogManager.LogInfo: ", [&] {
    if (m_eRunMode != ModeMorvane) {
      ShowMessageBox(Prefixed("INFORMATION: ", logMessage));
    } else if (m_detailLoggingOn) {
      m_application->Logger()->WriteInfo(logMessage, messageSource, logLevelInfo, 0);
    }
  });
}

void LogManager::ILogManager_LogEvent(std::string_view logMessage, std::string_view messageSource) {
  Guard("LogManager.LogEvent: ", [&] { m_application->Logger()->WriteEvent(logMessage, messageSource); });
}

const DispatchTable<LogManager>& LogManager::Dispatch() {
  static const DispatchTable<LogManager> table = [] {
    DispatchTable<LogManager> t;
    t.Property(
        "m_eRunMode", [](LogManager& m) { return Value(static_cast<int32_t>(m.m_eRunMode)); },
        [](LogManager& m, const Value& v) { m.m_eRunMode = static_cast<RunMode>(v.ToLong()); });
    t.Property(
        "DetailLoggingOn", [](LogManager& m) { return Value(m.DetailLoggingOn()); },
        [](LogManager& m, const Value& v) { m.SetDetailLoggingOn(v.ToBoolean()); });
    return t;
  }();
  return table;
}

void RaiseErrLogManager::Log(std::string_view description, std::string_view category, KORADSLog_Level logLevel) {
  if (logLevel < logLevelInfo) throw Error(kLibraryError, std::string(category), std::string(description));
}

const DispatchTable<RaiseErrLogManager>& RaiseErrLogManager::Dispatch() {
  static const DispatchTable<RaiseErrLogManager> table = [] {
    DispatchTable<RaiseErrLogManager> t;
    t.Property("DetailLoggingOn", [](RaiseErrLogManager&) { return Value(false); },
               [](RaiseErrLogManager&, const Value&) {});
    return t;
  }();
  return table;
}

const DispatchTable<EmptyLogManager>& EmptyLogManager::Dispatch() {
  static const DispatchTable<EmptyLogManager> table = [] {
    DispatchTable<EmptyLogManager> t;
    t.Property("DetailLoggingOn", [](EmptyLogManager&) { return Value(false); },
               [](EmptyLogManager&, const Value&) {});
    return t;
  }();
  return table;
}

}  // namespace korad
