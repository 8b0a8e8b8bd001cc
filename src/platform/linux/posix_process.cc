// Programs started with posix_spawn. A waited-for program runs in a process group of
// its own, so that a time limit kills what it started too, and its output is drained
// while it runs, so that it never blocks on a full pipe.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "contracts/error.h"
#include "platform/linux/posix_error.h"
#include "platform/process.h"

extern char** environ;

namespace korad {
namespace {

using SteadyClock = std::chrono::steady_clock;

// Closes on scope exit; -1 is no descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : m_fd(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return m_fd; }
  void Close() {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
  }
  void Reset(int fd) {
    Close();
    m_fd = fd;
  }

 private:
  int m_fd;
};

// The attributes and file actions of one spawn, released on scope exit.
class SpawnSetup {
 public:
  explicit SpawnSetup(bool ownGroup) {
    ::posix_spawnattr_init(&m_attributes);
    ::posix_spawn_file_actions_init(&m_actions);
    // The host may ignore or block signals (SIGPIPE above all); the child starts clean.
    sigset_t all;
    sigset_t none;
    ::sigfillset(&all);
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigdefault(&m_attributes, &all);
    ::posix_spawnattr_setsigmask(&m_attributes, &none);
    short flags = POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK;
    if (ownGroup) {
      ::posix_spawnattr_setpgroup(&m_attributes, 0);
      flags |= POSIX_SPAWN_SETPGROUP;
    }
    ::posix_spawnattr_setflags(&m_attributes, flags);
  }
  ~SpawnSetup() {
    ::posix_spawn_file_actions_destroy(&m_actions);
    ::posix_spawnattr_destroy(&m_attributes);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  void NullTo(int fd, int flags) { ::posix_spawn_file_actions_addopen(&m_actions, fd, "/dev/null", flags, 0); }
  void Dup(int from, int to) { ::posix_spawn_file_actions_adddup2(&m_actions, from, to); }

  pid_t Spawn(const std::vector<std::string>& arguments) {
    if (arguments.empty() || arguments[0].empty()) RaiseRuntimeError(kErrInvalidCall);
    // The host's own descriptors are none of the child's business.
    ::posix_spawn_file_actions_addclosefrom_np(&m_actions, 3);
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int err = ::posix_spawnp(&pid, argv[0], &m_actions, &m_attributes, argv.data(), environ);
    if (err != 0) RaisePosixError("posix_spawn", err, arguments[0]);
    return pid;
  }

 private:
  posix_spawnattr_t m_attributes;
  posix_spawn_file_actions_t m_actions;
};

// The read end of a child's output pipe and what came through it.
struct OutputPipe {
  Descriptor readEnd;
  std::string* text = nullptr;
  bool open = true;

  // Reads what is there now; closes on end of file or error.
  void Drain(size_t limit, bool& truncated) {
    char buffer[8192];
    for (;;) {
      const ssize_t got = ::read(readEnd.Get(), buffer, sizeof buffer);
      if (got > 0) {
        const size_t room = limit > text->size() ? limit - text->size() : 0;
        const size_t keep = std::min(room, static_cast<size_t>(got));
        text->append(buffer, keep);
        if (keep < static_cast<size_t>(got)) truncated = true;
        continue;
      }
      if (got < 0 && errno == EINTR) continue;
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
      open = false;
      readEnd.Close();
      return;
    }
  }
};

void MakePipe(Descriptor& readEnd, Descriptor& writeEnd) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) RaisePosixError("pipe2", errno, "");
  readEnd.Reset(fds[0]);
  writeEnd.Reset(fds[1]);
  ::fcntl(fds[0], F_SETFL, ::fcntl(fds[0], F_GETFL) | O_NONBLOCK);
}

void DecodeStatus(int status, ProcessOutcome& outcome) {
  if (WIFEXITED(status)) {
    outcome.exitCode = WEXITSTATUS(status);
  } else if (WIFSIGNALED(status)) {
    outcome.signal = WTERMSIG(status);
    outcome.exitCode = 128 + outcome.signal;
  }
}

// waitpid without blocking, retried on EINTR; true once the child is collected (or
// can't be: ECHILD when the host has SIGCHLD ignored).
bool TryCollect(pid_t pid, ProcessOutcome& outcome) {
  for (;;) {
    int status = 0;
    const pid_t got = ::waitpid(pid, &status, WNOHANG);
    if (got == pid) {
      DecodeStatus(status, outcome);
      return true;
    }
    if (got == 0) return false;
    if (errno == EINTR) continue;
    return true;
  }
}

void CollectBlocking(pid_t pid, ProcessOutcome& outcome) {
  int status = 0;
  pid_t got;
  do {
    got = ::waitpid(pid, &status, 0);
  } while (got < 0 && errno == EINTR);
  if (got == pid) DecodeStatus(status, outcome);
}

class PosixProcessLauncher final : public ProcessLauncher {
 public:
  int32_t Start(const std::vector<std::string>& arguments) override {
    CollectStarted();
    SpawnSetup setup(false);
    setup.NullTo(0, O_RDONLY);
    setup.NullTo(1, O_WRONLY);
    setup.NullTo(2, O_WRONLY);
    const pid_t pid = setup.Spawn(arguments);
    std::lock_guard lock(m_mutex);
    m_started.push_back(pid);
    return static_cast<int32_t>(pid);
  }

  ProcessOutcome Run(const std::vector<std::string>& arguments, const ProcessRunOptions& options) override {
    CollectStarted();
    OutputPipe out;
    OutputPipe err;
    ProcessOutcome outcome;
    out.text = &outcome.output;
    err.text = &outcome.errorOutput;
    Descriptor outWrite;
    Descriptor errWrite;
    MakePipe(out.readEnd, outWrite);
    MakePipe(err.readEnd, errWrite);

    SpawnSetup setup(true);
    setup.NullTo(0, O_RDONLY);
    setup.Dup(outWrite.Get(), 1);
    setup.Dup(errWrite.Get(), 2);
    const pid_t pid = setup.Spawn(arguments);
    outWrite.Close();
    errWrite.Close();

    const bool limited = options.timeoutMilliseconds > 0;
    const SteadyClock::time_point deadline =
        SteadyClock::now() + std::chrono::milliseconds(limited ? options.timeoutMilliseconds : 0);
    bool collected = false;
    auto idle = std::chrono::microseconds(100);
    for (;;) {
      if (!collected) collected = TryCollect(pid, outcome);
      if (collected) {
        // What a left-behind grandchild still holds open is not waited for.
        if (out.open) out.Drain(options.outputLimit, outcome.outputTruncated);
        if (err.open) err.Drain(options.outputLimit, outcome.outputTruncated);
        break;
      }
      int waitMs = 5;  // the child's exit is seen by polling waitpid, at most this late
      if (limited) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now());
        if (left.count() <= 0) {
          ::kill(-pid, SIGKILL);
          ::kill(pid, SIGKILL);
          CollectBlocking(pid, outcome);
          outcome.timedOut = true;
          break;
        }
        waitMs = std::min<int>(waitMs, static_cast<int>(left.count()) + 1);
      }
      if (out.open || err.open) {
        pollfd fds[2];
        nfds_t count = 0;
        if (out.open) fds[count++] = {out.readEnd.Get(), POLLIN, 0};
        if (err.open) fds[count++] = {err.readEnd.Get(), POLLIN, 0};
        const int ready = ::poll(fds, count, waitMs);
        if (ready > 0) {
          if (out.open) out.Drain(options.outputLimit, outcome.outputTruncated);
          if (err.open) err.Drain(options.outputLimit, outcome.outputTruncated);
        }
      } else {
        // Both pipes closed: the exit is near; back off gently while it comes.
        std::this_thread::sleep_for(std::min<std::chrono::microseconds>(idle, std::chrono::milliseconds(waitMs)));
        idle = std::min<std::chrono::microseconds>(idle * 2, std::chrono::milliseconds(5));
      }
    }
    return outcome;
  }

  bool Signal(int32_t pid, int32_t signalNumber) override {
    if (pid < 1) RaiseRuntimeError(kErrInvalidCall);
    if (::kill(static_cast<pid_t>(pid), signalNumber) == 0) return true;
    if (errno == ESRCH) return false;
    RaisePosixError("kill", errno, std::to_string(pid));
  }

 private:
  // Collects the exits of programs started without waiting, so none stays a zombie.
  void CollectStarted() {
    std::lock_guard lock(m_mutex);
    std::erase_if(m_started, [](pid_t pid) {
      ProcessOutcome ignored;
      return TryCollect(pid, ignored);
    });
  }

  std::mutex m_mutex;
  std::vector<pid_t> m_started;
};

}  // namespace

std::shared_ptr<ProcessLauncher> MakePosixProcessLauncher() { return std::make_shared<PosixProcessLauncher>(); }

}  // namespace korad
