#include <signal.h>
#include <unistd.h>

#include <string>

#include "action/action.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/validation_rules.h"
#include "korad_linux/actors.h"
#include "korad_linux/monitor_support.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/system_facts.h"

namespace korad {
namespace {

int32_t SignalNumber(std::string_view name) {
  const std::string normal = NormalizeKey(name);
  if (normal == "TERM") return SIGTERM;
  if (normal == "KILL") return SIGKILL;
  if (normal == "HUP") return SIGHUP;
  if (normal == "INT") return SIGINT;
  RaiseFinalActionFailure(ProcessActor::kClassId, "'" + std::string(name) + "' is not a signal this actor sends");
}

}  // namespace

void ProcessActor::SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                                      const std::shared_ptr<ValidationRules>& attrValidationRules) {
  attrValidationRules->AddEx("ACTION.ProcessName", true, {}, {}, "The process name, as ps shows it", "String");
  attrValidationRules->AddEx("ACTION.Signal", false, "TERM,KILL,HUP,INT", "TERM", "The signal to send", "String");
}

void ProcessActor::PerformAction(const std::shared_ptr<Action>& action,
                                 const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const std::string name = ActionAttribute(*action, "ProcessName");
  if (name.empty()) RaiseFinalActionFailure(kClassId, "no ProcessName");
  const int32_t signal = SignalNumber(ActionAttribute(*action, "Signal", "TERM"));
  // Signalling itself would end the agent, and the retried action would end it again.
  const int32_t self = static_cast<int32_t>(::getpid());

  ProcessLauncher& launcher = Platform::Current().GetProcessLauncher();
  int32_t signalled = 0;
  std::string refused;
  for (const ProcessEntry& process : Platform::Current().GetSystemFacts().ReadProcesses()) {
    if (process.pid == self || !ProcessHasName(process, name)) continue;
    try {
      if (launcher.Signal(process.pid, signal)) ++signalled;  // one that ended meanwhile is not counted
    } catch (const Error& failure) {
      refused += (refused.empty() ? "" : ", ") + std::to_string(process.pid) + " (" + failure.Description() + ")";
    }
  }
  action->SetResponse("signalled=" + std::to_string(signalled));
  TraceMonitor(logManager, kClassId, name + ": " + action->Response());
  // What the agent may not signal now it won't be allowed to later.
  if (!refused.empty()) RaiseFinalActionFailure(kClassId, "could not signal " + refused);
}

}  // namespace korad
