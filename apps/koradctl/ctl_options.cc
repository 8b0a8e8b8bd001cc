#include "ctl_options.h"

#include <charconv>
#include <map>
#include <optional>

namespace korad::ctl {
namespace {

struct Topic {
  std::string_view name;
  std::string_view text;
};

// The usage texts, the overview first. Each begins with its usage line.
constexpr Topic kTopics[] = {
    {"",
     "Usage: koradctl --home DIR COMMAND [ARGS...]\n"
     "\n"
     "The operator's and server's side of an agent at home folder DIR: reads and writes\n"
     "its queues, watches the incidents its monitors send, decodes state files and shows\n"
     "the monitors' heartbeats.\n"
     "\n"
     "Commands:\n"
     "  queue list               every queue: connector id, message count, folder\n"
     "  queue show QUEUE         the waiting messages, oldest first, left on the queue\n"
     "  queue drain QUEUE        takes the waiting messages off the queue and prints them\n"
     "  queue send QUEUE FILE    puts the bytes of FILE on the queue as one message\n"
     "  incidents [--follow]     one line per incident the monitors sent (MvRouterQ)\n"
     "  state show MODULE        a monitor's state file and form file, decoded\n"
     "  heartbeats               the monitors' heartbeat dates and current errors\n"
     "\n"
     "  --home DIR   the agent's home folder (required by every command)\n"
     "  --help       this text; after a command, the command's own help\n"
     "\n"
     "Exit codes: 0 ok, 1 failure (such as a missing home or queue), 2 bad command line.\n"},
    {"queue",
     "Usage: koradctl --home DIR queue list|show|drain|send ...\n"
     "\n"
     "A queue is named by its connector id. Its folder is the Path of the section of\n"
     "DIR/BIN/MvAgent.ini named like the id, else DIR/Connectors/ID; one file per message.\n"
     "\n"
     "  queue list               every queue: ID | COUNT | FOLDER\n"
     "  queue show QUEUE         the waiting messages, oldest first, left on the queue\n"
     "  queue drain QUEUE        takes the waiting messages off the queue and prints them\n"
     "  queue send QUEUE FILE    puts the bytes of FILE (\"-\": standard input) on the queue\n"
     "\n"
     "Run \"koradctl queue SUBCOMMAND --help\" for details.\n"},
    {"queue list",
     "Usage: koradctl --home DIR queue list\n"
     "\n"
     "One line per queue, sorted by connector id:\n"
     "  ID | COUNT | FOLDER\n"
     "COUNT is the number of message files waiting, expired ones included until a reader\n"
     "drops them; \"-\" with \"(missing)\" after the folder when an MvAgent.ini section names\n"
     "a Path that doesn't exist yet. The queues are the folders under DIR/Connectors and\n"
     "the MvAgent.ini sections with a Path key and no ClassID other than\n"
     "MvConnect.DirectoryConnector.\n"},
    {"queue show",
     "Usage: koradctl --home DIR queue show QUEUE\n"
     "\n"
     "Prints the live messages of QUEUE, oldest first, and leaves them on the queue.\n"
     "Each message is one header line\n"
     "  message N | ID | sent TIME | to TARGET | ttl SECONDS | priority P | entity E | source S | BYTES bytes\n"
     "followed by its body, each line indented by two blanks (CR LF shown as a line end,\n"
     "other control bytes as \\xNN), and a last line \"N message(s) on QUEUE\".\n"
     "Fails (exit 1) when the queue's folder doesn't exist.\n"},
    {"queue drain",
     "Usage: koradctl --home DIR queue drain QUEUE\n"
     "\n"
     "Takes every message off QUEUE, oldest first, printing each as \"queue show\" does,\n"
     "and ends with \"took N message(s) from QUEUE\". Expired messages are dropped without\n"
     "being printed and unreadable ones set aside (as NAME.msg.bad in the folder); both\n"
     "are counted on the last line. Ctrl-C stops after the message being taken.\n"
     "Fails (exit 1) when the queue's folder doesn't exist.\n"},
    {"queue send",
     "Usage: koradctl --home DIR queue send QUEUE FILE [--target QUEUE2] [--ttl SECONDS]\n"
     "                 [--priority N] [--entity N] [--source ID]\n"
     "\n"
     "Puts the bytes of FILE (\"-\" reads standard input) on QUEUE as one message, creating\n"
     "the queue's folder if needed, and prints \"sent ID to QUEUE (FOLDER)\".\n"
     "\n"
     "  --target QUEUE2   the message's destination field (e.g. mvIncidentQ); default none\n"
     "  --ttl SECONDS     time to live; default 0, no limit\n"
     "  --priority N      default 0\n"
     "  --entity N        entity id; default 0\n"
     "  --source ID       event source id; default none\n"},
    {"incidents",
     "Usage: koradctl --home DIR incidents [--follow] [--keep] [--queue ID] [--interval MS]\n"
     "                 [--count N] [--verbose]\n"
     "\n"
     "Reads the incidents that the monitors put on their outbound queue (connector id\n"
     "MvRouterQ) with destination mvIncidentQ, oldest first, one line each:\n"
     "  TIME | STATUS | RESOURCE | CONDITION | KEY ATTRIBUTES\n"
     "TIME is the incident's OccurrenceUniversal (UTC); STATUS is new, updated or resolved,\n"
     "from a \"(Updated)\" or \"(Resolved)\" at the end of the condition, which is shown\n"
     "without it. KEY ATTRIBUTES are NAME=VALUE pairs of the names in KeyAttributes; when\n"
     "the incident has none, of its attributes but the engine's (mv..., Ack...); or \"-\".\n"
     "\n"
     "Incident messages are taken off the queue as they are printed. Every other message\n"
     "(data collection for MvDataCollectionQ, ...) is left on the queue where it is, and a\n"
     "line on standard error says so once per message; \"queue show\" and \"queue drain\"\n"
     "reach them. An incident message that can't be read is left there too, with its error.\n"
     "\n"
     "  --follow        keep reading until Ctrl-C (or --count); waits for the queue's folder\n"
     "  --keep          leave incident messages on the queue too; --follow shows each once\n"
     "  --queue ID      read another connector id than MvRouterQ\n"
     "  --interval MS   pause between looks while following, 10 to 60000; default 500\n"
     "  --count N       stop after N incidents\n"
     "  --verbose       every attribute of an incident on lines \"    NAME=VALUE\" below it\n"
     "\n"
     "Without --follow, fails (exit 1) when the queue's folder doesn't exist.\n"},
    {"state",
     "Usage: koradctl --home DIR state show MODULE [--location FOLDER]\n"
     "\n"
     "Run \"koradctl state show --help\" for details.\n"},
    {"state show",
     "Usage: koradctl --home DIR state show MODULE [--location FOLDER]\n"
     "\n"
     "Decodes the state file (MODULE.SER) and form file (IFMODULE.SER) of a monitor, both\n"
     "in FOLDER: --location, else the SerializeLocation of the MvAgent.ini section MODULE,\n"
     "else DIR/Serialize. Lines:\n"
     "  state file | PATH | N item(s)             (or \"missing\")\n"
     "  state | CONFIGURATION | KEY | VALUE\n"
     "  form file | PATH | N form(s)              (or \"missing\")\n"
     "  form N | CONFIGURATION | RESOURCE | CONDITION | STATUS | priority P\n"
     "         | polls send S resolve R | processed True|False | keys KEYATTRIBUTES\n"
     "         | occurred LOCALTIME\n"
     "  form N | attribute | NAME | VALUE\n"
     "(a form is one line; it is wrapped here). Line ends inside values show as \\r and \\n.\n"
     "Fails (exit 1) when neither file exists or a file could only be read in part.\n"},
    {"heartbeats",
     "Usage: koradctl --home DIR heartbeats\n"
     "\n"
     "The sections of DIR/Serialize/MonitorHeartbeats.SER, one per monitor module:\n"
     "  MODULE | HBDATE | no error\n"
     "  MODULE | HBDATE | error:\n"
     "  MODULE |   LINE                          (one per line of the current error)\n"
     "Fails (exit 1) when the file doesn't exist.\n"},
};

// Options a command accepts: flags, and options that take a value.
struct AcceptedOptions {
  std::vector<std::string_view> flags;
  std::vector<std::string_view> valued;
};

struct CommandWords {
  std::vector<std::string> positionals;
  std::map<std::string, std::string, std::less<>> values;  // by option name
  std::vector<std::string> flags;
};

bool Contains(const std::vector<std::string_view>& list, std::string_view item) {
  for (std::string_view entry : list) {
    if (entry == item) return true;
  }
  return false;
}

// Splits the words after a command into positionals and its options; an error text on a
// word it doesn't accept.
std::optional<std::string> ReadCommandWords(const std::vector<std::string>& words, size_t first,
                                            const AcceptedOptions& accepted, CommandWords& result) {
  for (size_t i = first; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.size() < 2 || !word.starts_with("-")) {
      result.positionals.push_back(word);
      continue;
    }
    std::string name = word;
    std::optional<std::string> inlineValue;
    if (const size_t equals = word.find('='); equals != std::string::npos) {
      name = word.substr(0, equals);
      inlineValue = word.substr(equals + 1);
    }
    if (Contains(accepted.flags, name) && !inlineValue) {
      result.flags.push_back(name);
    } else if (Contains(accepted.valued, name)) {
      if (inlineValue) {
        result.values[name] = *inlineValue;
      } else if (i + 1 < words.size()) {
        result.values[name] = words[++i];
      } else {
        return name + " needs a value";
      }
    } else {
      return "unknown option '" + word + "'";
    }
  }
  return std::nullopt;
}

bool HasFlag(const CommandWords& words, std::string_view flag) {
  for (const std::string& entry : words.flags) {
    if (entry == flag) return true;
  }
  return false;
}

// A whole number in [low, high] or an error text.
template <class Int>
std::optional<std::string> ReadNumber(const CommandWords& words, std::string_view option, Int low, Int high,
                                      Int& target) {
  const auto found = words.values.find(option);
  if (found == words.values.end()) return std::nullopt;
  const std::string& text = found->second;
  Int value{};
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || end != text.data() + text.size() || value < low || value > high) {
    return std::string(option) + " needs a whole number from " + std::to_string(low) + " to " +
           std::to_string(high) + ", not '" + text + "'";
  }
  target = value;
  return std::nullopt;
}

std::string ValueOr(const CommandWords& words, std::string_view option, std::string fallback) {
  const auto found = words.values.find(option);
  return found == words.values.end() ? fallback : found->second;
}

// Checks the count of positionals: `names` are the ones required, in order.
std::optional<std::string> RequirePositionals(const CommandWords& words, std::string_view topic,
                                              const std::vector<std::string_view>& names) {
  if (words.positionals.size() < names.size()) {
    return std::string(topic) + " needs " + std::string(names[words.positionals.size()]);
  }
  if (words.positionals.size() > names.size()) {
    return "unexpected argument '" + words.positionals[names.size()] + "'";
  }
  return std::nullopt;
}

// Reads the command at words[0...]; sets topic as far as it got, and error on failure.
void ReadCommand(const std::vector<std::string>& words, ParsedCommandLine& parsed) {
  CtlOptions& options = parsed.options;
  if (words.empty()) {
    if (!parsed.help) parsed.error = "no command given";
    return;
  }
  const std::string& group = words[0];
  size_t next = 1;
  std::string topic;
  if (group == "queue" || group == "state") {
    topic = group;
    if (words.size() < 2 || words[1].starts_with("-")) {
      parsed.topic = topic;
      if (!parsed.help) parsed.error = group + " needs a subcommand";
      return;
    }
    topic += " " + words[1];
    next = 2;
  } else if (group == "incidents" || group == "heartbeats") {
    topic = group;
  } else {
    parsed.error = "unknown command '" + group + "'";
    return;
  }
  const bool known = [&] {
    for (const Topic& entry : kTopics) {
      if (entry.name == topic) return true;
    }
    return false;
  }();
  if (!known) {
    parsed.topic = group;
    parsed.error = "unknown command '" + topic + "'";
    return;
  }
  parsed.topic = topic;
  if (parsed.help) return;  // the options don't matter to the help

  AcceptedOptions accepted;
  if (topic == "queue send") accepted.valued = {"--target", "--ttl", "--priority", "--entity", "--source"};
  if (topic == "incidents") {
    accepted.flags = {"--follow", "--keep", "--verbose"};
    accepted.valued = {"--queue", "--interval", "--count"};
  }
  if (topic == "state show") accepted.valued = {"--location"};
  CommandWords command;
  if (auto error = ReadCommandWords(words, next, accepted, command)) {
    parsed.error = *error;
    return;
  }

  std::optional<std::string> error;
  if (topic == "queue list") {
    options.command = Command::kQueueList;
    error = RequirePositionals(command, topic, {});
  } else if (topic == "queue show" || topic == "queue drain") {
    options.command = topic == "queue show" ? Command::kQueueShow : Command::kQueueDrain;
    error = RequirePositionals(command, topic, {"QUEUE"});
    if (!error) options.queue = command.positionals[0];
  } else if (topic == "queue send") {
    options.command = Command::kQueueSend;
    error = RequirePositionals(command, topic, {"QUEUE", "FILE"});
    if (!error) {
      options.queue = command.positionals[0];
      options.file = command.positionals[1];
    }
    SendOptions& send = options.send;
    send.targetQueue = ValueOr(command, "--target", "");
    send.eventSourceId = ValueOr(command, "--source", "");
    if (!error) error = ReadNumber<int32_t>(command, "--ttl", 0, INT32_MAX, send.timeToLive);
    if (!error) error = ReadNumber<int32_t>(command, "--priority", INT32_MIN, INT32_MAX, send.priority);
    if (!error) error = ReadNumber<int32_t>(command, "--entity", INT32_MIN, INT32_MAX, send.entityId);
  } else if (topic == "incidents") {
    options.command = Command::kIncidents;
    error = RequirePositionals(command, topic, {});
    IncidentsOptions& incidents = options.incidents;
    incidents.follow = HasFlag(command, "--follow");
    incidents.keep = HasFlag(command, "--keep");
    incidents.verbose = HasFlag(command, "--verbose");
    incidents.queue = ValueOr(command, "--queue", std::string(kRouterQueue));
    if (!error && incidents.queue.empty()) error = "--queue needs a connector id";
    if (!error) error = ReadNumber<int32_t>(command, "--interval", 10, 60000, incidents.intervalMs);
    if (!error) error = ReadNumber<int64_t>(command, "--count", 1, INT64_MAX, incidents.maxCount);
  } else if (topic == "state show") {
    options.command = Command::kStateShow;
    error = RequirePositionals(command, topic, {"MODULE"});
    if (!error) options.module = command.positionals[0];
    options.location = ValueOr(command, "--location", "");
  } else if (topic == "heartbeats") {
    options.command = Command::kHeartbeats;
    error = RequirePositionals(command, topic, {});
  }
  if (error) parsed.error = *error;
}

}  // namespace

ParsedCommandLine ParseCommandLine(const std::vector<std::string>& args) {
  ParsedCommandLine parsed;
  std::vector<std::string> words;
  bool homeGiven = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--help" || arg == "-h") {
      parsed.help = true;
    } else if (arg == "--home") {
      if (i + 1 >= args.size()) {
        parsed.error = "--home needs a folder";
        return parsed;
      }
      parsed.options.home = args[++i];
      homeGiven = true;
    } else if (arg.starts_with("--home=")) {
      parsed.options.home = arg.substr(7);
      homeGiven = true;
    } else {
      words.push_back(arg);
    }
  }
  if (!words.empty() && words[0] == "help") {
    parsed.help = true;
    words.erase(words.begin());
  }
  ReadCommand(words, parsed);
  // With help, only an unknown command is an error: the rest of the line doesn't matter.
  if (parsed.help || !parsed.ok()) return parsed;
  if (!homeGiven) {
    parsed.error = "--home DIR is required";
  } else if (parsed.options.home.empty()) {
    parsed.error = "--home needs a folder";
  }
  return parsed;
}

std::string UsageText(std::string_view topic) {
  for (const Topic& entry : kTopics) {
    if (entry.name == topic) return std::string(entry.text);
  }
  return std::string(kTopics[0].text);
}

}  // namespace korad::ctl
