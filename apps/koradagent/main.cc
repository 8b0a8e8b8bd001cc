// koradagent: the host service. Parses the command line; the work is in agent_program.
#include <cstdio>
#include <string>
#include <vector>

#include "agent_options.h"
#include "agent_program.h"

int main(int argc, char** argv) {
  using namespace korad::agent;
  const std::string program = argc > 0 ? argv[0] : "koradagent";
  const ParsedOptions parsed = ParseAgentOptions(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  if (!parsed.ok()) {
    std::fprintf(stderr, "koradagent: %s\n\n%s", parsed.error.c_str(), UsageText(program).c_str());
    return kExitUsage;
  }
  if (parsed.options.help) {
    std::fputs(UsageText(program).c_str(), stdout);
    return kExitOk;
  }
  return RunAgent(parsed.options);
}
