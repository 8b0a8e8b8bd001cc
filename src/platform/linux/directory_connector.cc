// The directory connector: a queue kept as one file per message in a folder, so that
// the agent's modules, other processes and the operator tool share it without a broker.
//
// Names. A message is "<stamp>-<pid>.msg": the stamp is the machine's real time in
// microseconds, 17 digits, made strictly increasing within a process; the pid, 10
// digits, keeps two processes apart. The names thus sort in send order, within a process
// always and across processes whenever the sends are a clock tick apart (a send takes
// far longer than that). The platform clock, which tests drive, is not used for names:
// only the time to live is judged by it, from the "Sent" field inside the file.
//
// Sending writes the file under a hidden temporary name and renames it (the file
// system's atomic write), so readers see whole messages or nothing; the temporary names
// don't end in ".msg" and a crash mid-write leaves nothing a reader takes.
//
// Receiving claims the oldest ".msg" by renaming it to "<name>.<pid>.claim". A rename
// succeeds for one caller only, so two readers never take the same message. The claim is
// then read and removed. A claim whose process died before removing it is renamed back
// when the connector is next opened, so a reader's crash loses nothing. A file that
// can't be read as a message is renamed to "<name>.bad" for the operator to look at.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <deque>
#include <iterator>
#include <mutex>
#include <string>

#include "contracts/error.h"
#include "contracts/object.h"
#include "platform/clock.h"
#include "platform/connector.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {
namespace {

constexpr std::string_view kMessageMask = "*.msg";
constexpr std::string_view kClaimMask = "*.claim";
constexpr std::string_view kMessageSuffix = ".msg";
constexpr std::string_view kClaimSuffix = ".claim";
constexpr std::string_view kRejectedSuffix = ".bad";

std::string ZeroPadded(int64_t number, size_t width) {
  std::string digits = std::to_string(number);
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return digits;
}

// Microseconds of real time, never the same twice in this process and never going back
// when the system clock is set back.
int64_t NextStamp() {
  static std::mutex mutex;
  static int64_t last = 0;
  const int64_t now = std::chrono::duration_cast<std::chrono::microseconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count();
  std::lock_guard lock(mutex);
  last = std::max(now, last + 1);
  return last;
}

std::string NewMessageId() { return ZeroPadded(NextStamp(), 17) + "-" + ZeroPadded(::getpid(), 10); }

std::string JoinPath(const std::string& folder, std::string_view name) {
  std::string path = folder;
  if (!path.empty() && path.back() != '/') path.push_back('/');
  return path.append(name);
}

bool ProcessAlive(pid_t pid) { return ::kill(pid, 0) == 0 || errno == EPERM; }

// The pid a claim's name carries, and the message name it came from.
bool ParseClaim(std::string_view claim, std::string& messageName, pid_t& pid) {
  if (claim.size() <= kClaimSuffix.size()) return false;
  std::string_view rest = claim.substr(0, claim.size() - kClaimSuffix.size());
  size_t dot = rest.find_last_of('.');
  if (dot == std::string_view::npos) return false;
  std::string_view digits = rest.substr(dot + 1);
  auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), pid);
  if (ec != std::errc() || end != digits.data() + digits.size() || pid <= 0) return false;
  messageName.assign(rest.substr(0, dot));
  return messageName.size() > kMessageSuffix.size() && messageName.ends_with(kMessageSuffix);
}

FileSystem& Files() { return Platform::Current().GetFileSystem(); }

// Renames unless another caller moved `from` away first, which is answered with false.
bool RenameIfPresent(FileSystem& files, const std::string& from, const std::string& to) {
  try {
    files.Rename(from, to);
    return true;
  } catch (const Error& error) {
    if (error.Number() == kErrFileNotFound && !files.Exists(from)) return false;
    throw;
  }
}

class DirectoryConnector final : public Dispatchable<DirectoryConnector>, public Connector {
 public:
  static constexpr std::string_view kClassId = kDirectoryConnectorClassId;

  explicit DirectoryConnector(std::string folder) : m_folder(FileSystem::NativePath(folder)) {}

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<DirectoryConnector>& Dispatch();

  std::string Folder() const {
    std::lock_guard lock(m_mutex);
    return m_folder;
  }
  // The host sets the folder from the "Path" key before the connector is used.
  void SetFolder(std::string_view folder) {
    std::lock_guard lock(m_mutex);
    if (m_open) RaiseRuntimeError(kErrInvalidCall);
    m_folder = FileSystem::NativePath(folder);
  }

  void Open() override {
    std::lock_guard lock(m_mutex);
    if (m_open) return;
    RequireFolder(m_folder);
    FileSystem& files = Files();
    files.CreateDirectories(m_folder);
    RecoverAbandonedClaims(files, m_folder);
    {
      std::lock_guard pendingLock(m_receiveMutex);
      m_pending.clear();  // the claims just given back are older than what was listed
    }
    m_open = true;
  }

  void Close() override { m_open = false; }
  bool IsOpen() const override { return m_open; }

  std::string Send(const ConnectorMessage& message) override {
    const std::string folder = Folder();
    RequireFolder(folder);
    ConnectorMessage stamped(message);
    stamped.SetSentUtc(Platform::Current().GetClock().UtcNow());
    const std::string id = NewMessageId();
    const std::string text = stamped.ToFileText();
    const std::string path = JoinPath(folder, id + std::string(kMessageSuffix));
    FileSystem& files = Files();
    try {
      files.WriteFileAtomic(path, text);
    } catch (const Error& error) {
      // Senders never open the connector, so the folder may not exist yet.
      if (error.Number() != kErrPathNotFound) throw;
      files.CreateDirectories(folder);
      files.WriteFileAtomic(path, text);
    }
    return id;
  }

  std::optional<ConnectorMessage> Receive() override {
    const std::string folder = Folder();
    if (!m_open) RaiseLibraryError("Receive: the connector for '" + folder + "' is not open");
    FileSystem& files = Files();
    std::lock_guard lock(m_receiveMutex);
    for (bool listed = false;;) {
      if (m_pending.empty()) {
        if (listed) return std::nullopt;
        std::vector<std::string> names = files.List(folder, kMessageMask);
        m_pending.assign(std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()));
        listed = true;
        continue;
      }
      // A Take that raises leaves the name first in line for the next try.
      std::optional<ConnectorMessage> message = Take(files, folder, m_pending.front());
      m_pending.pop_front();
      if (message) return message;
    }
  }

  std::optional<ConnectorMessage> ReceiveById(std::string_view messageId) override {
    const std::string folder = Folder();
    if (!m_open) RaiseLibraryError("ReceiveById: the connector for '" + folder + "' is not open");
    // An id is a file name less its suffix; anything that could leave the folder isn't one.
    if (messageId.empty() || messageId.find('/') != std::string_view::npos ||
        messageId.find('\\') != std::string_view::npos || messageId.front() == '.') {
      return std::nullopt;
    }
    std::lock_guard lock(m_receiveMutex);
    return Take(Files(), folder, std::string(messageId) + std::string(kMessageSuffix));
  }

  std::vector<ConnectorMessage> Peek(size_t maxCount) override {
    const std::string folder = Folder();
    std::vector<ConnectorMessage> found;
    if (maxCount == 0) return found;
    FileSystem& files = Files();
    const OleDate now = Platform::Current().GetClock().UtcNow();
    for (const std::string& name : files.List(folder, kMessageMask)) {
      std::string text;
      try {
        text = files.ReadFile(JoinPath(folder, name));
      } catch (const Error& error) {
        if (error.Number() == kErrFileNotFound) continue;  // taken meanwhile
        throw;
      }
      std::optional<ConnectorMessage> message = Parse(text);
      if (!message || message->IsExpired(now)) continue;
      message->SetMessageId(name.substr(0, name.size() - kMessageSuffix.size()));
      found.push_back(std::move(*message));
      if (found.size() == maxCount) break;
    }
    return found;
  }

  int64_t Count() override { return static_cast<int64_t>(Files().List(Folder(), kMessageMask).size()); }
  int64_t ExpiredCount() const override { return m_expired; }
  int64_t RejectedCount() const override { return m_rejected; }

 private:
  // Claims, reads and removes one message file; nullopt when another reader was first or
  // the message expired or couldn't be read.
  std::optional<ConnectorMessage> Take(FileSystem& files, const std::string& folder, const std::string& name) {
    const std::string path = JoinPath(folder, name);
    const std::string claim = path + "." + std::to_string(::getpid()) + std::string(kClaimSuffix);
    if (!RenameIfPresent(files, path, claim)) return std::nullopt;

    std::string text;
    try {
      text = files.ReadFile(claim);
    } catch (...) {
      RenameIfPresent(files, claim, path);  // leave it for the next try
      throw;
    }
    std::optional<ConnectorMessage> message = Parse(text);
    if (!message) {
      files.Rename(claim, path + std::string(kRejectedSuffix));
      ++m_rejected;
      return std::nullopt;
    }
    files.RemoveFile(claim);
    if (message->IsExpired(Platform::Current().GetClock().UtcNow())) {
      ++m_expired;
      return std::nullopt;
    }
    message->SetMessageId(name.substr(0, name.size() - kMessageSuffix.size()));
    return message;
  }

  static void RequireFolder(const std::string& folder) {
    if (folder.empty()) RaiseLibraryError("DirectoryConnector: no Path is set");
  }

  static std::optional<ConnectorMessage> Parse(std::string_view text) {
    try {
      return ConnectorMessage::FromFileText(text);
    } catch (const Error&) {
      return std::nullopt;
    }
  }

  static void RecoverAbandonedClaims(FileSystem& files, const std::string& folder) {
    for (const std::string& claim : files.List(folder, kClaimMask)) {
      std::string messageName;
      pid_t pid = 0;
      if (!ParseClaim(claim, messageName, pid) || ProcessAlive(pid)) continue;
      RenameIfPresent(files, JoinPath(folder, claim), JoinPath(folder, messageName));
    }
  }

  mutable std::mutex m_mutex;  // guards m_folder and the opening
  std::string m_folder;
  // Names listed by an earlier Receive and not yet tried, oldest first: draining a long
  // queue lists the folder once, not once per message. Names listed later sort after
  // them, so the order holds.
  std::mutex m_receiveMutex;
  std::deque<std::string> m_pending;
  std::atomic<bool> m_open{false};
  std::atomic<int64_t> m_expired{0};
  std::atomic<int64_t> m_rejected{0};
};

const DispatchTable<DirectoryConnector>& DirectoryConnector::Dispatch() {
  static const DispatchTable<DirectoryConnector> table = [] {
    using C = DirectoryConnector;
    DispatchTable<C> t;
    t.Property("Path", [](C& c) { return Value(c.Folder()); }, [](C& c, const Value& v) { c.SetFolder(v.ToText()); });
    t.Property("IsOpen", [](C& c) { return Value(c.IsOpen()); });
    t.Property("Count", [](C& c) { return Value(static_cast<int32_t>(std::min<int64_t>(c.Count(), INT32_MAX))); });
    t.Call("Open", [](C& c) {
      c.Open();
      return Value();
    });
    t.Call("Close", [](C& c) {
      c.Close();
      return Value();
    });
    return t;
  }();
  return table;
}

}  // namespace

std::shared_ptr<Connector> MakeDirectoryConnector(std::string folder) {
  return std::make_shared<DirectoryConnector>(std::move(folder));
}

}  // namespace korad
