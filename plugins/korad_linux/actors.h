// The Linux actors. The action manager creates each by its class id, asks once per run
// for its rules (configuration keys, then ACTION attributes) and calls PerformAction with
// a validated Action. A failure raises; one whose description ends in "%mvNoRetry%" is
// final, any other is offered again later. README.md beside this file lists the keys,
// attributes, responses and failures of every actor.
#pragma once

#include <memory>
#include <string_view>

#include "korad_linux/actor_support.h"

namespace korad {

class ClassRegistry;

// Registers every actor below under its class id.
void RegisterLinuxActors(ClassRegistry& registry);

// Runs ACTION.Command, split into words as a shell splits it (no shell runs it), when
// its program is one that AllowedPrograms allows; waits at most TimeoutSeconds (60).
// Response "exit=N" and at most OutputLines (20) lines of output. A non-zero exit or a
// time-out fails, to be tried again; a program outside the list or missing fails for good.
class CommandActor final : public LinuxActor<CommandActor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.CommandActor";
  void PerformAction(const std::shared_ptr<Action>& action, const std::shared_ptr<Configurations>& configurations,
                     LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                          const std::shared_ptr<ValidationRules>& attrValidationRules) override;
};

// ACTION.Operation (restart, start, stop, reload; restart by default) on ACTION.Service:
// through systemctl, then its is-active, on a machine that runs systemd; through the
// service program elsewhere; "No service manager on this machine" when neither is there.
class ServiceActor final : public LinuxActor<ServiceActor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.ServiceActor";
  void PerformAction(const std::shared_ptr<Action>& action, const std::shared_ptr<Configurations>& configurations,
                     LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                          const std::shared_ptr<ValidationRules>& attrValidationRules) override;
};

// Sends ACTION.Signal (TERM, KILL, HUP, INT; TERM by default) to every process that goes
// by ACTION.ProcessName, the agent itself excepted. Response "signalled=N".
class ProcessActor final : public LinuxActor<ProcessActor> {
 public:
  static constexpr std::string_view kClassId = "KoradLinux.ProcessActor";
  void PerformAction(const std::shared_ptr<Action>& action, const std::shared_ptr<Configurations>& configurations,
                     LogManagerRef& logManager) override;
  void SetValidationRules(const std::shared_ptr<ValidationRules>& configValidationRules,
                          const std::shared_ptr<ValidationRules>& attrValidationRules) override;
};

}  // namespace korad
