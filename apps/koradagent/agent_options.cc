#include "agent_options.h"

#include <string_view>

namespace korad::agent {

ParsedOptions ParseAgentOptions(const std::vector<std::string>& args) {
  ParsedOptions parsed;
  AgentOptions& options = parsed.options;
  bool homeGiven = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string_view arg = args[i];
    if (arg == "--help" || arg == "-h") {
      options.help = true;
    } else if (arg == "--foreground") {
      options.foreground = true;
    } else if (arg == "--once") {
      options.once = true;
    } else if (arg == "--home") {
      if (i + 1 >= args.size()) {
        parsed.error = "--home needs a folder";
        return parsed;
      }
      options.home = args[++i];
      homeGiven = true;
    } else if (arg.starts_with("--home=")) {
      options.home = std::string(arg.substr(7));
      homeGiven = true;
    } else {
      parsed.error = "unknown argument '" + std::string(arg) + "'";
      return parsed;
    }
  }
  if (options.help) return parsed;  // help needs nothing else
  if (!homeGiven) {
    parsed.error = "--home is required";
  } else if (options.home.empty()) {
    parsed.error = "--home needs a folder";
  }
  return parsed;
}

std::string UsageText(const std::string& programName) {
  return "Usage: " + programName +
         " --home DIR [--foreground] [--once]\n"
         "\n"
         "Runs the agent at home folder DIR: every section of DIR/BIN/MvAgent.ini whose\n"
         "ClassID names a class (of the library, or of a plug-in in DIR/Modules) gets an\n"
         "object with the section's other keys as properties; its InitializeMethod is\n"
         "called once and its ExecuteMethod every Frequency Units, each section on its\n"
         "own thread. Changes to MvAgent.ini are applied while running. SIGTERM or SIGINT\n"
         "stops the agent.\n"
         "\n"
         "  --home DIR     the agent's home folder (required)\n"
         "  --foreground   also write log lines to stderr (they always go to DIR/LogFiles)\n"
         "  --once         run each section's InitializeMethod and one ExecuteMethod, then exit\n"
         "  --help         show this text\n"
         "\n"
         "Exit codes: 0 ok, 1 fatal error (such as a missing home folder or MvAgent.ini),\n"
         "2 bad command line.\n";
}

}  // namespace korad::agent
