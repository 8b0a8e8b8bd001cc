#include "korad_linux/actor_support.h"

#include <algorithm>
#include <climits>
#include <exception>

#include "action/action.h"
#include "action/action_manager.h"
#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/attributes.h"
#include "korad_linux/monitor_support.h"
#include "platform/environment.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/process.h"

namespace korad {
namespace {

// Where a program is looked for when the agent was started without PATH.
constexpr std::string_view kDefaultPath = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

void AppendLines(std::string_view text, size_t maxLines, size_t& taken, std::string& response) {
  while (!text.empty() && taken < maxLines) {
    const size_t end = text.find('\n');
    response.append("\n").append(text.substr(0, end));
    ++taken;
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
}

}  // namespace

void RaiseActionFailure(std::string_view actorId, std::string_view text) {
  RaiseLibraryError(std::string(actorId) + ": " + std::string(text));
}

void RaiseFinalActionFailure(std::string_view actorId, std::string_view text) {
  RaiseLibraryError(std::string(actorId) + ": " + std::string(text) + std::string(ActionManager::kNoRetry));
}

void RaiseFinalConfigurationError(const std::exception_ptr& failure) {
  const Error error = [&] {
    try {
      std::rethrow_exception(failure);
    } catch (...) {
      return CurrentExceptionAsError();
    }
  }();
  throw Error(error.Number(), error.Source(), error.Description() + std::string(ActionManager::kNoRetry));
}

std::string ActionAttribute(Action& action, std::string_view name, std::string_view fallback) {
  Attributes& attributes = *action.GetAttributes();
  if (!attributes.Exists(name)) return std::string(fallback);
  const std::string value(TrimBlanks(attributes.Item(Value(name))->Value().ToText()));
  return value.empty() ? std::string(fallback) : value;
}

std::optional<std::string> FindOnPath(std::string_view name) {
  const std::string path = Platform::Current().GetEnvironment().Variable("PATH").value_or(std::string(kDefaultPath));
  FileSystem& fileSystem = Platform::Current().GetFileSystem();
  for (std::string_view folder : SplitNonEmpty(path, ':')) {
    // A relative folder ("." above all) would make the working folder choose the program.
    if (folder.front() != '/') continue;
    const std::optional<std::string> found = fileSystem.CanonicalPath(std::string(folder) + "/" + std::string(name));
    if (found && !fileSystem.IsDirectory(*found)) return found;
  }
  return std::nullopt;
}

std::string OutcomeResponse(const ProcessOutcome& outcome, size_t maxLines) {
  std::string response = "exit=" + std::to_string(outcome.exitCode);
  size_t taken = 0;
  for (const std::string* text : {&outcome.output, &outcome.errorOutput}) {
    std::string_view lines = *text;
    if (!lines.empty() && lines.back() == '\n') lines.remove_suffix(1);
    AppendLines(lines, maxLines, taken, response);
  }
  return response;
}

}  // namespace korad
