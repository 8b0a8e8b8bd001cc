// koradctl: the operator's and server's side of an agent. The work is in ctl_program.
#include <signal.h>

#include <atomic>
#include <iostream>
#include <string>
#include <vector>

#include "ctl_program.h"

namespace {

std::atomic<bool> g_stop{false};

// The first Ctrl-C (or SIGTERM) asks a follow or a drain to end after what it is doing;
// the handler is then reset, so a second one ends the program at once.
extern "C" void RequestStop(int) { g_stop.store(true); }

void CatchStopSignals() {
  struct sigaction action {};
  action.sa_handler = RequestStop;
  action.sa_flags = SA_RESETHAND;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  static_assert(std::atomic<bool>::is_always_lock_free, "set from a signal handler");
  CatchStopSignals();
  std::ios::sync_with_stdio(false);
  const std::vector<std::string> args(argv + (argc > 0 ? 1 : 0), argv + argc);
  return korad::ctl::RunKoradctl(args, std::cin, std::cout, std::cerr, g_stop);
}
