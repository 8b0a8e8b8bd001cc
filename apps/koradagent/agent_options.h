// The command line of the host service.
#pragma once

#include <string>
#include <vector>

namespace korad::agent {

struct AgentOptions {
  std::string home;         // the agent's home directory (holds BIN/MvAgent.ini)
  bool foreground = false;  // log lines go to stderr as well as to the log files
  bool once = false;        // each section: InitializeMethod and one ExecuteMethod, then exit
  bool help = false;
};

struct ParsedOptions {
  AgentOptions options;
  std::string error;  // empty when the command line was good
  bool ok() const { return error.empty(); }
};

// `args` without the program name. Accepts "--home DIR" and "--home=DIR".
ParsedOptions ParseAgentOptions(const std::vector<std::string>& args);

std::string UsageText(const std::string& programName);

// Exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFatal = 1;
inline constexpr int kExitUsage = 2;

}  // namespace korad::agent
