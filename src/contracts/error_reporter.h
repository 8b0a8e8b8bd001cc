// The error convention of every class but LogManager: each public routine traps errors,
// prefixes "Class.Routine: " and hands them to ReportError, which logs them under
// "DevSvcErr" when a log manager is set and raises them on otherwise. Written once here;
// a routine wraps its body in Guard and returns whatever its result holds afterwards:
//
//   Value Attributes::Item(const Value& index) {
//     Value result;
//     Guard("Attributes.Item: ", [&] { result = ...; });
//     return result;
//   }
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "contracts/error.h"
#include "contracts/interfaces.h"

namespace korad {

inline constexpr std::string_view kErrorCategory = "DevSvcErr";

// Runs `body`; whatever it throws reaches `report` as ("Class.Routine: " + description, number).
template <class Body, class Report>
void TrapErrors(std::string_view routinePrefix, Body&& body, Report&& report) {
  try {
    body();
  } catch (...) {
    const Error failure = CurrentExceptionAsError();
    report(std::string(routinePrefix) + failure.Description(), failure.Number());
  }
}

class ErrorReporter {
 public:
  virtual ~ErrorReporter() = default;
  const LogManagerRef& GetLogManager() const noexcept { return m_logManager; }
  // Classes that hand their log manager on to what they own override this.
  virtual void SetLogManager(LogManagerRef logManager) { m_logManager = std::move(logManager); }

 protected:
  // With a log manager: one line under "DevSvcErr" at logLevelError, and the failure is
  // swallowed. Without: raised with `number`, source "DevSvcErr". `reraise` is part of
  // the routine's shape and is never read.
  void ReportError(const std::string& description, int32_t number, bool reraise) const;

  template <class Body>
  void Guard(std::string_view routinePrefix, Body&& body) const {
    TrapErrors(routinePrefix, body, [this](const std::string& description, int32_t number) {
      ReportError(description, number, true);
    });
  }

 private:
  LogManagerRef m_logManager;
};

}  // namespace korad
