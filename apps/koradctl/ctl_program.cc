#include "ctl_program.h"

#include <unistd.h>

#include <exception>
#include <istream>
#include <iterator>
#include <ostream>

#include "contracts/error.h"
#include "ctl_options.h"
#include "heartbeats_command.h"
#include "incidents_command.h"
#include "platform/application.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "queue_commands.h"
#include "state_command.h"

namespace korad::ctl {
namespace {

std::string AbsoluteHome(const std::string& path) {
  std::string home = FileSystem::NativePath(path);
  if (home.front() != '/') {
    char buffer[4096];
    if (getcwd(buffer, sizeof buffer) != nullptr) home = std::string(buffer) + "/" + home;
  }
  while (home.size() > 1 && home.back() == '/') home.pop_back();
  return home;
}

std::string ReadBody(const std::string& file, std::istream& in) {
  if (file == "-") return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return Platform::Current().GetFileSystem().ReadFile(file);
}

int Dispatch(const CtlOptions& options, std::istream& in, std::ostream& out, std::ostream& err,
             const std::atomic<bool>& stop) {
  switch (options.command) {
    case Command::kQueueList: return QueueList(out);
    case Command::kQueueShow: return QueueShow(options.queue, out);
    case Command::kQueueDrain: return QueueDrain(options.queue, out, stop);
    case Command::kQueueSend: return QueueSend(options.queue, ReadBody(options.file, in), options.send, out);
    case Command::kIncidents: return Incidents(options.incidents, out, err, stop);
    case Command::kStateShow: return StateShow(options.module, options.location, out, err);
    case Command::kHeartbeats: return Heartbeats(out);
    case Command::kNone: break;
  }
  return kExitUsage;
}

}  // namespace

int RunKoradctl(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
                const std::atomic<bool>& stop) {
  const ParsedCommandLine parsed = ParseCommandLine(args);
  if (!parsed.ok()) {
    // The usage line of the command, not its whole help.
    const std::string usage = UsageText(parsed.topic);
    err << "koradctl: " << parsed.error << '\n'
        << usage.substr(0, usage.find("\n\n") + 1) << "Run \"koradctl " << parsed.topic
        << (parsed.topic.empty() ? "" : " ") << "--help\" for more.\n";
    return kExitUsage;
  }
  if (parsed.help) {
    out << UsageText(parsed.topic);
    return kExitOk;
  }
  const std::string home = AbsoluteHome(parsed.options.home);
  if (!Platform::Current().GetFileSystem().IsDirectory(home)) {
    err << "koradctl: no agent home at " << home << '\n';
    return kExitFailure;
  }
  Platform::Current().SetApplication(MakeHostApplication(home));
  try {
    const int code = Dispatch(parsed.options, in, out, err, stop);
    out.flush();
    return code;
  } catch (...) {
    out.flush();
    err << "koradctl: " << CurrentExceptionAsError().Description() << '\n';
    return kExitFailure;
  }
}

}  // namespace korad::ctl
