// What every Linux actor shares: the object shape the action manager creates by class
// id, how a failure tells the agent service whether to offer the action again, the
// reading of an action attribute, the search of PATH and the text of a program's outcome.
#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>

#include "contracts/interfaces.h"
#include "contracts/object.h"

namespace korad {

class Action;
struct ProcessOutcome;

// An actor object: late binding has nothing to offer beyond the class id.
template <class Derived>
class LinuxActor : public Dispatchable<Derived>, public IActor {
 public:
  std::string_view ClassId() const noexcept override { return Derived::kClassId; }
  static const DispatchTable<Derived>& Dispatch() {
    static const DispatchTable<Derived> table;
    return table;
  }
};

// Raises "<actor>: <text>", which the agent service offers again later.
[[noreturn]] void RaiseActionFailure(std::string_view actorId, std::string_view text);
// Raises "<actor>: <text>%mvNoRetry%": a failure that no retry mends (a refused request,
// a missing program, a wrong configuration).
[[noreturn]] void RaiseFinalActionFailure(std::string_view actorId, std::string_view text);

// Raises the error of `failure` again with "%mvNoRetry%" at the end of its description.
[[noreturn]] void RaiseFinalConfigurationError(const std::exception_ptr& failure);

// The trimmed value of Action.Attributes `name`; `fallback` when missing or blank.
std::string ActionAttribute(Action& action, std::string_view name, std::string_view fallback = {});

// The resolved path of the first file `name` found in a folder of PATH (absolute folders
// only; a PATH that isn't set searches the usual system folders); nullopt when none holds it.
std::optional<std::string> FindOnPath(std::string_view name);

// "exit=N", then at most `maxLines` lines of standard output, then of standard error.
std::string OutcomeResponse(const ProcessOutcome& outcome, size_t maxLines);

// Runs the configuration reads of one action; an error they raise becomes final, since a
// configuration doesn't mend itself between retries.
template <class Read>
auto ReadActorConfiguration(Read read) -> decltype(read()) {
  try {
    return read();
  } catch (...) {
    RaiseFinalConfigurationError(std::current_exception());
  }
}

}  // namespace korad
