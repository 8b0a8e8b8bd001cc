#include <string>
#include <vector>

#include "action/action.h"
#include "contracts/error.h"
#include "foundation/configurations.h"
#include "foundation/validation_rules.h"
#include "korad_linux/actors.h"
#include "korad_linux/allowed_programs.h"
#include "korad_linux/monitor_support.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace korad {
namespace {

struct CommandSettings {
  AllowedPrograms allowed;
  int32_t timeoutMilliseconds;
  size_t outputLines;
};

CommandSettings ReadSettings(const Configurations& configurations) {
  return ReadActorConfiguration([&] {
    const MonitorKeys keys(configurations, CommandActor::kClassId);
    const double lines = keys.Number("OutputLines", 20);
    if (!(lines >= 0)) keys.Invalid("OutputLines", keys.Text("OutputLines"), "a count of lines");
    return CommandSettings{AllowedPrograms(keys), keys.TimeoutMilliseconds(60), static_cast<size_t>(lines)};
  });
}

// The resolved path of the program the command names: a name without "/" is looked for
// on PATH. Nothing has started when this fails, and no retry would find it.
std::string ResolveProgram(const std::string& program) {
  std::optional<std::string> resolved;
  if (program.find('/') == std::string::npos) {
    resolved = FindOnPath(program);
  } else if (program.front() == '/') {
    resolved = Platform::Current().GetFileSystem().CanonicalPath(program);
  } else {
    RaiseFinalActionFailure(CommandActor::kClassId, "the program " + program + " is not given by an absolute path");
  }
  if (!resolved || Platform::Current().GetFileSystem().IsDirectory(*resolved)) {
    RaiseFinalActionFailure(CommandActor::kClassId, "the program " + program + " was not found");
  }
  return *resolved;
}

}  // namespace

void CommandActor::SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                                      const std::shared_ptr<ValidationRules>& attrValidationRules) {
  configValidationRules->AddEx("AllowedPrograms", true, {}, {},
                               "The programs an action may run, comma-separated: absolute paths, or folders "
                               "ending in \"/\" whose programs may all run",
                               "String");
  AddNumberRule(*configValidationRules, "TimeoutSeconds", "60", "Seconds after which the program is killed", "1");
  AddNumberRule(*configValidationRules, "OutputLines", "20", "Lines of output kept in the response");
  attrValidationRules->AddEx("ACTION.Command", true, {}, {},
                             "The program and its arguments, written as for a shell; no shell runs it", "String");
}

void CommandActor::PerformAction(const std::shared_ptr<Action>& action,
                                 const std::shared_ptr<Configurations>& configurations, LogManagerRef& logManager) {
  const CommandSettings settings = ReadSettings(*configurations);
  const std::string command = ActionAttribute(*action, "Command");
  std::vector<std::string> arguments;
  try {
    arguments = SplitShellWords(command);
  } catch (const Error& failure) {
    RaiseFinalActionFailure(kClassId, "Command '" + command + "' is not a command line: " + failure.Description());
  }
  if (arguments.empty() || arguments[0].empty()) {
    RaiseFinalActionFailure(kClassId, "Command '" + command + "' names no program");
  }
  // What was checked is what starts: the resolved path, not a name that a link or a
  // changed PATH could turn into another program in between.
  arguments[0] = ResolveProgram(arguments[0]);
  if (!settings.allowed.Allows(arguments[0])) {
    RaiseFinalActionFailure(kClassId, "the program " + arguments[0] + " is not among the AllowedPrograms");
  }

  ProcessRunOptions options;
  options.timeoutMilliseconds = settings.timeoutMilliseconds;
  ProcessOutcome outcome;
  try {
    outcome = Platform::Current().GetProcessLauncher().Run(arguments, options);
  } catch (const Error& failure) {
    const bool lasting = failure.Number() == kErrFileNotFound || failure.Number() == kErrPathNotFound ||
                         failure.Number() == kErrPermissionDenied;
    const std::string text = "could not run " + arguments[0] + ": " + failure.Description();
    if (lasting) RaiseFinalActionFailure(kClassId, text);
    RaiseActionFailure(kClassId, text);
  }
  action->SetResponse(OutcomeResponse(outcome, settings.outputLines));
  TraceMonitor(logManager, kClassId, command + ": " + action->Response());
  if (outcome.timedOut) {
    RaiseActionFailure(kClassId, arguments[0] + " was killed after " +
                                     NumberText(settings.timeoutMilliseconds / 1000.0, 3) + " seconds");
  }
  if (outcome.exitCode != 0) RaiseActionFailure(kClassId, arguments[0] + " failed: " + action->Response());
}

}  // namespace korad
