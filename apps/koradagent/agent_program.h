// The program around the service: the platform's application for the home folder,
// the library's classes, the stop signals, and the exit code.
#pragma once

#include "agent_options.h"

namespace korad::agent {

// Runs the agent until SIGTERM or SIGINT (or, with --once, until every section ran
// once). Returns the exit code: kExitOk, or kExitFatal when the agent can't start.
int RunAgent(const AgentOptions& options);

}  // namespace korad::agent
