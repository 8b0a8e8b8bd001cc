// Starting programs: from a command line split into arguments as Windows or as a shell
// splits it, or from an argument vector; without waiting, or waited for with the output captured, a
// time limit that kills the program, and its exit code.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace korad {

struct ProcessRunOptions {
  // Milliseconds before the program (and every process of its group) is killed; 0: no limit.
  int32_t timeoutMilliseconds = 0;
  // Bytes kept of standard output, and of standard error; the rest is read and dropped,
  // so a talkative program never blocks on a full pipe.
  size_t outputLimit = 64 * 1024;
};

struct ProcessOutcome {
  // The exit status; 128 + the signal number for a program ended by a signal; -1 when
  // the status could not be collected (SIGCHLD ignored by the host).
  int32_t exitCode = -1;
  // The signal that ended it, 0 when it exited.
  int32_t signal = 0;
  // Killed at the time limit.
  bool timedOut = false;
  std::string output;       // standard output, at most outputLimit bytes
  std::string errorOutput;  // standard error, likewise
  bool outputTruncated = false;
};

class ProcessLauncher {
 public:
  virtual ~ProcessLauncher() = default;

  // Starts `arguments` without waiting: element 0 names the program, searched on PATH
  // when it holds no "/". Its standard streams are /dev/null and it inherits no other
  // descriptor. Returns the process id; the launcher collects its exit later. Raises the
  // runtime error of the failure (53 for a program that isn't there, 70 when it isn't
  // executable) when it can't be started, and 5 for an empty vector.
  virtual int32_t Start(const std::vector<std::string>& arguments) = 0;

  // Runs `arguments` as Start does, in a process group of its own, and waits for it,
  // capturing standard output and standard error (standard input is /dev/null). At the
  // time limit the whole group is killed and the outcome says so. Failures to start
  // raise as in Start.
  virtual ProcessOutcome Run(const std::vector<std::string>& arguments, const ProcessRunOptions& options) = 0;

  // Sends signal `signalNumber` to the one process `pid`. False when there is no such
  // process (it has ended); raises 70 when it may not be signalled, and 5 for a pid
  // under 1, which would reach a whole group or every process.
  virtual bool Signal(int32_t pid, int32_t signalNumber) = 0;
};

// A command line split as Windows splits it: blanks and tabs separate arguments; a
// quote mark opens and closes a quoted part, in which blanks are kept; inside quotes ""
// is one quote mark; 2n backslashes before a quote mark give n backslashes and the quote
// acts, 2n+1 give n backslashes and a literal quote mark; other backslashes are literal.
// The program name (the first argument) ends at its closing quote or at a blank, with no
// backslash rules, so "C:\Program Files\x.exe" and /usr/bin/x read as written.
std::vector<std::string> SplitCommandLine(std::string_view commandLine);

// A command line split into words as a POSIX shell splits it, without running one:
// blanks, tabs and line ends separate words; single quotes keep everything up to the
// next single quote; in double quotes a backslash escapes only $ ` " \ and a line end,
// and stays as written before anything else; outside quotes a backslash escapes any
// character, and a backslash with a line end is dropped. Quoted parts next to each other
// make one word, and '' or "" an empty one. Nothing is expanded: $, *, ~, | and the like
// are plain characters. An unclosed quote or a final backslash raises, naming the spot.
std::vector<std::string> SplitShellWords(std::string_view commandLine);

// The machine's launcher, with posix_spawn.
std::shared_ptr<ProcessLauncher> MakePosixProcessLauncher();

}  // namespace korad
