#include <string>
#include <vector>

#include "action/action.h"
#include "action/action_manager.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "korad_linux/actors.h"
#include "korad_linux/monitor_support.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace korad {
namespace {

constexpr size_t kResponseLines = 20;

// Letters, digits and "@._-", not starting with "-": a name that can't be read as an
// option, a second word or anything a shell would act on.
bool IsServiceName(std::string_view name) {
  if (name.empty() || name.front() == '-') return false;
  for (char c : name) {
    const bool plain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '@' ||
                       c == '.' || c == '_' || c == '-';
    if (!plain) return false;
  }
  return true;
}

ProcessOutcome RunTool(const std::vector<std::string>& arguments, int32_t timeoutMilliseconds) {
  ProcessRunOptions options;
  options.timeoutMilliseconds = timeoutMilliseconds;
  try {
    return Platform::Current().GetProcessLauncher().Run(arguments, options);
  } catch (const Error& failure) {
    RaiseActionFailure(ServiceActor::kClassId, "could not run " + arguments[0] + ": " + failure.Description());
  }
}

// A failed operation is worth another try: a unit may be starting or stopping just now.
void RequireSuccess(const std::vector<std::string>& arguments, const ProcessOutcome& outcome, Action& action) {
  action.SetResponse(OutcomeResponse(outcome, kResponseLines));
  std::string call;
  for (const std::string& argument : arguments) call += (call.empty() ? "" : " ") + argument;
  if (outcome.timedOut) RaiseActionFailure(ServiceActor::kClassId, call + " timed out");
  if (outcome.exitCode != 0) RaiseActionFailure(ServiceActor::kClassId, call + " failed: " + action.Response());
}

}  // namespace

void ServiceActor::SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                                      const std::shared_ptr<ValidationRules>& attrValidationRules) {
  AddNumberRule(*configValidationRules, "TimeoutSeconds", "120",
                "Seconds after which the service manager's command is killed", "1");
  attrValidationRules->AddEx("ACTION.Service", true, {}, {}, "The service (unit) name", "String");
  attrValidationRules->AddEx("ACTION.Operation", false, "restart,start,stop,reload", "restart",
                             "What to do with the service", "String");
}

void ServiceActor::PerformAction(const std::shared_ptr<Action>& action,
                                 const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const int32_t timeout = ReadActorConfiguration([&] {
    return MonitorKeys(*configurations, kClassId).TimeoutMilliseconds(120);
  });
  const std::string service = ActionAttribute(*action, "Service");
  const std::string operation = LowerAscii(ActionAttribute(*action, "Operation", "restart"));
  if (!IsServiceName(service)) {
    RaiseFinalActionFailure(kClassId, "'" + service + "' is not a service name");
  }
  if (operation != "restart" && operation != "start" && operation != "stop" && operation != "reload") {
    RaiseFinalActionFailure(kClassId, "'" + operation + "' is not an operation on a service");
  }

  FileSystem& fileSystem = Platform::Current().GetFileSystem();
  const std::optional<std::string> systemctl =
      fileSystem.IsDirectory("/run/systemd/system") ? FindOnPath("systemctl") : std::nullopt;
  if (systemctl) {
    const std::vector<std::string> call = {*systemctl, operation, service};
    RequireSuccess(call, RunTool(call, timeout), *action);
    const ProcessOutcome check = RunTool({*systemctl, "is-active", service}, timeout);
    const std::string state(TrimBlanks(check.output.substr(0, check.output.find('\n'))));
    action->SetResponse(action->Response() + "\nis-active=" + state);
    TraceMonitor(logManager, kClassId, service + ": " + operation + ": " + state);
    // is-active answers "active" with exit 0; anything else says the operation didn't hold.
    const bool active = check.exitCode == 0 && state == "active";
    if (active == (operation == "stop")) {
      RaiseActionFailure(kClassId, service + " is " + (state.empty() ? "in no known state" : state) + " after " +
                                       operation);
    }
    return;
  }
  if (const std::optional<std::string> tool = FindOnPath("service")) {
    const std::vector<std::string> call = {*tool, service, operation};
    RequireSuccess(call, RunTool(call, timeout), *action);
    TraceMonitor(logManager, kClassId, service + ": " + operation + ": " + action->Response());
    return;
  }
  RaiseLibraryError("No service manager on this machine" + std::string(ActionManager::kNoRetry));
}

}  // namespace korad
