// The command line of koradctl: the home folder, a command with its words and options,
// and the usage texts of each level.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "monitor/queue_names.h"

namespace korad::ctl {

// Exit codes of the program.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailure = 1;
inline constexpr int kExitUsage = 2;

// The connector id the monitors send on unless their section names another.
inline constexpr std::string_view kRouterQueue = kRouterConnectorId;

enum class Command { kNone, kQueueList, kQueueShow, kQueueDrain, kQueueSend, kIncidents, kStateShow, kHeartbeats };

struct SendOptions {
  std::string targetQueue;  // the message's destination field; empty by default
  int32_t timeToLive = 0;   // seconds; 0 is no limit
  int32_t priority = 0;
  int32_t entityId = 0;
  std::string eventSourceId;
};

struct IncidentsOptions {
  std::string queue{kRouterQueue};
  bool follow = false;      // keep reading until stopped
  bool keep = false;        // show incident messages without taking them off the queue
  bool verbose = false;     // every attribute under each incident line
  int32_t intervalMs = 500;  // between looks at the queue while following
  int64_t maxCount = 0;     // stop after this many incidents; 0 is no limit
};

struct CtlOptions {
  Command command = Command::kNone;
  std::string home;
  std::string queue;     // queue show, drain, send
  std::string file;      // queue send: a path, or "-" for standard input
  std::string module;    // state show
  std::string location;  // state show --location: the folder of the module's files
  SendOptions send;
  IncidentsOptions incidents;
};

struct ParsedCommandLine {
  CtlOptions options;
  bool help = false;   // print UsageText(topic) and succeed
  std::string topic;   // the command the help or the error is about: "", "queue", "queue show", ...
  std::string error;   // empty when the command line was good
  bool ok() const { return error.empty(); }
};

// `args` without the program name. "--home DIR" (or "--home=DIR") and "--help" ("-h")
// may stand anywhere; "help [COMMAND...]" is the same as "COMMAND... --help".
ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args);

// The usage of a topic as ParseCommandLine names them; the overview for "" or an
// unknown topic. The first line always begins "Usage: koradctl".
std::string UsageText(std::string_view topic);

}  // namespace korad::ctl
