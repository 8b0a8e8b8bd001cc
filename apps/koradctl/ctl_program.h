// koradctl as a function: parses the command line, sets the agent's home on the
// platform and runs the command, printing on `out` and `err`.
#pragma once

#include <atomic>
#include <iosfwd>
#include <string>
#include <vector>

namespace korad::ctl {

// `args` without the program name; `in` serves "queue send QUEUE -". `stop` ends a
// follow or a drain (main sets it on SIGINT and SIGTERM). Returns the exit code.
int RunKoradctl(const std::vector<std::string>& args, std::istream& in, std::ostream& out, std::ostream& err,
                const std::atomic<bool>& stop);

}  // namespace korad::ctl
