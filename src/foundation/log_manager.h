// LogManager forwards log lines to the agent's log writer, or in the debug run modes
// shows them as message boxes. RaiseErrLogManager turns logged errors into raised ones.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "contracts/enums.h"
#include "contracts/interfaces.h"
#include "contracts/object.h"

namespace korad {

class Application;

class LogManager final : public Dispatchable<LogManager>, public ILogManager {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.LogManager";
  LogManager();

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<LogManager>& Dispatch();

  // Public read-write under this very name: hosts and scripts set it by name.
  RunMode m_eRunMode = ModeMorvane;

  void Log(std::string_view description, std::string_view category,
           KORADSLog_Level logLevel = logLevelError) override;
  void LogInfo(std::string_view logMessage, std::string_view messageSource) override;
  bool DetailLoggingOn() override { return m_detailLoggingOn; }
  void SetDetailLoggingOn(bool on) override { m_detailLoggingOn = on; }
  // Always the writer's event line, in any run mode.
  void ILogManager_LogEvent(std::string_view logMessage, std::string_view messageSource);

 private:
  // Unlike every other class: a logger that fails can't log its own failure, so this
  // always raises, under the source "DevServices".
  [[noreturn]] void ReportError(const std::string& description, int32_t number, bool reraise) const;
  template <class Body>
  void Guard(std::string_view routinePrefix, Body&& body);

  Application* m_application = nullptr;
  bool m_detailLoggingOn = false;
};

class RaiseErrLogManager final : public Dispatchable<RaiseErrLogManager>, public ILogManager {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.RaiseErrLogManager";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<RaiseErrLogManager>& Dispatch();

  // Levels below logLevelInfo raise the library's error with the category as source.
  void Log(std::string_view description, std::string_view category,
           KORADSLog_Level logLevel = logLevelError) override;
  void LogInfo(std::string_view, std::string_view) override {}
  bool DetailLoggingOn() override { return false; }
  void SetDetailLoggingOn(bool) override {}
};

// The interface as a creatable class: empty operations, reads False.
class EmptyLogManager final : public Dispatchable<EmptyLogManager>, public ILogManager {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.ILogManager";
  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<EmptyLogManager>& Dispatch();

  void Log(std::string_view, std::string_view, KORADSLog_Level = logLevelError) override {}
  void LogInfo(std::string_view, std::string_view) override {}
  bool DetailLoggingOn() override { return false; }
  void SetDetailLoggingOn(bool) override {}
};

}  // namespace korad
