// The file system on Linux: POSIX calls, names resolved case-insensitively, files
// rewritten through a temporary file and a rename.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "contracts/text.h"
#include "platform/file_system.h"
#include "platform/linux/change_time.h"
#include "platform/linux/folder_name_cache.h"
#include "platform/linux/locked_file.h"
#include "platform/linux/posix_error.h"

namespace korad {
namespace {

std::string JoinPath(std::string_view folder, std::string_view name) {
  std::string joined(folder);
  if (!joined.empty() && joined.back() != '/') joined.push_back('/');
  joined.append(name);
  return joined;
}

// The folder part of a path ("" for a bare name, "/" for a name at the root).
std::string FolderOf(std::string_view path) {
  size_t slash = path.find_last_of('/');
  if (slash == std::string_view::npos) return {};
  return std::string(path.substr(0, slash == 0 ? 1 : slash));
}

std::string_view NameOf(std::string_view path) {
  size_t slash = path.find_last_of('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}


// stat() of the native form of `path`, built on the stack.
bool StatAsWritten(std::string_view path, struct stat& st) {
  char native[PATH_MAX];
  if (path.empty() || path.size() >= sizeof native) return false;
  for (size_t i = 0; i < path.size(); ++i) native[i] = path[i] == '\\' ? '/' : path[i];
  native[path.size()] = '\0';
  return ::stat(native, &st) == 0;
}

bool PathExists(const std::string& path) {
  struct stat st;
  return ::stat(path.c_str(), &st) == 0;
}

using locked_file::UniqueFd;
using locked_file::WriteAll;

int OpenOrRaise(const std::string& path, int flags, mode_t mode = 0666) {
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC, mode);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) RaisePosixError("open", errno, path);
  return fd;
}

OleDate ModifiedTimeOf(const struct stat& st) {
  int64_t millis = static_cast<int64_t>(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
  return OleDate::FromUnixMillis(millis);
}

struct timespec TimespecOf(OleDate utc) {
  int64_t millis = utc.ToUnixMillis();
  int64_t seconds = millis / 1000, rest = millis % 1000;
  if (rest < 0) {
    rest += 1000;
    --seconds;
  }
  return {static_cast<time_t>(seconds), static_cast<long>(rest * 1000000)};
}

FileStamp StampOf(const struct stat& st, int64_t nanosBeforeStat) {
  FileStamp stamp;
  stamp.device = static_cast<uint64_t>(st.st_dev);
  stamp.inode = static_cast<uint64_t>(st.st_ino);
  stamp.modifiedNanos = Nanos(st.st_mtim);
  stamp.changedNanos = Nanos(st.st_ctim);
  stamp.settled = ChangeTimeSettled(st, nanosBeforeStat);
  return stamp;
}

bool NameOrder(const std::string& a, const std::string& b) {
  std::string la = LowerAscii(a), lb = LowerAscii(b);
  return la != lb ? la < lb : a < b;
}

class LinuxFileSystem final : public FileSystem {
 public:
  std::optional<std::string> Resolve(std::string_view path) override {
    Resolution found = ResolveComponents(NativePath(path));
    if (found.unresolved > 1) return std::nullopt;
    return std::move(found.path);
  }

  std::string ResolveForWrite(std::string_view path) override {
    return ResolveComponents(NativePath(path)).path;
  }

  bool Exists(std::string_view path) override { return Stat(path).has_value(); }

  bool IsDirectory(std::string_view path) override {
    std::optional<FileInfo> info = Stat(path);
    return info && info->isDirectory;
  }

  std::optional<FileInfo> Stat(std::string_view path) override {
    struct stat st;
    // Taken first: a change after it can't carry an earlier time than this.
    const int64_t before = RealTimeNanos();
    // One stat, and no allocation, when the name is written as it is: the idle tick of
    // every monitor asks this of its ini file.
    if (!StatAsWritten(path, st)) {
      std::string native = NativePath(path);
      Resolution found = ResolveComponents(native, /*knownMissing=*/true);
      if (found.unresolved > 0 || ::stat(found.path.c_str(), &st) != 0) return std::nullopt;
    }
    FileInfo info;
    info.isDirectory = S_ISDIR(st.st_mode);
    info.size = st.st_size;
    info.modifiedUtc = ModifiedTimeOf(st);
    info.stamp = StampOf(st, before);
    return info;
  }

  std::optional<std::string> CanonicalPath(std::string_view path) override {
    const std::string native = NativePath(path);
    char resolved[PATH_MAX];
    if (::realpath(native.c_str(), resolved) == nullptr) return std::nullopt;
    return std::string(resolved);
  }

  std::string ReadFile(std::string_view path) override {
    std::string content;
    ReadOpened(path, [&](int fd) {
      struct stat st;
      if (::fstat(fd, &st) == 0 && st.st_size > 0) content.reserve(static_cast<size_t>(st.st_size));
    }, [&](std::string_view piece) { content.append(piece); });
    return content;
  }

  void ReadChunks(std::string_view path, const std::function<void(std::string_view)>& consumer) override {
    ReadOpened(path, [](int) {}, consumer);
  }

  void WriteFileAtomic(std::string_view path, std::string_view data) override {
    std::string target = ResolveForWrite(path);
    // A file that was private stays private: the replacement takes the old one's mode.
    struct stat old;
    bool keepMode = ::stat(target.c_str(), &old) == 0 && S_ISREG(old.st_mode);

    std::string temp;
    UniqueFd fd(CreateTempBeside(target, temp));
    try {
      if (keepMode && ::fchmod(fd.Get(), old.st_mode & 07777) != 0) RaisePosixError("fchmod", errno, temp);
      WriteAll(fd.Get(), data, temp);
      // Data first, name second: after a crash the name points at old or new content, whole.
      // The folder itself is not synced: that only makes the new name durable sooner and
      // costs half again as much as the rest of the rewrite.
      if (::fsync(fd.Get()) != 0) RaisePosixError("fsync", errno, temp);
      if (fd.Close() != 0) RaisePosixError("close", errno, temp);
      if (::rename(temp.c_str(), target.c_str()) != 0) RaisePosixError("rename", errno, target);
    } catch (...) {
      ::unlink(temp.c_str());
      throw;
    }
  }

  void AppendFile(std::string_view path, std::string_view data) override {
    std::string target = ResolveForWrite(path);
    UniqueFd fd(OpenOrRaise(target, O_WRONLY | O_CREAT | O_APPEND));
    WriteAll(fd.Get(), data, target);
    if (fd.Close() != 0) RaisePosixError("close", errno, target);
  }

  void RemoveFile(std::string_view path) override {
    std::string target = ResolveForWrite(path);
    if (::unlink(target.c_str()) != 0) RaisePosixError("unlink", errno, target);
  }

  void Rename(std::string_view from, std::string_view to) override {
    std::string source = ResolveForWrite(from);
    std::string target = ResolveForWrite(to);
    if (::rename(source.c_str(), target.c_str()) == 0) return;
    if (errno != EXDEV) RaisePosixError("rename", errno, source);
    // Another mount: copy, then drop the original, as a move across volumes does.
    WriteFileAtomic(target, ReadFile(source));
    RemoveFile(source);
  }

  void CreateDirectories(std::string_view path) override {
    std::string target = ResolveForWrite(path);
    struct stat st;
    if (::stat(target.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return;
    std::string prefix = !target.empty() && target[0] == '/' ? "/" : "";
    for (std::string_view part : SplitNonEmpty(target, '/')) {
      prefix = JoinPath(prefix, part);
      if (::mkdir(prefix.c_str(), 0777) == 0) continue;
      int err = errno;
      if (err != EEXIST) RaisePosixError("mkdir", err, prefix);
      if (::stat(prefix.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        RaisePosixError("mkdir", ENOTDIR, prefix);
      }
    }
  }

  void SetFileTimes(std::string_view path, OleDate accessedUtc, OleDate modifiedUtc) override {
    std::string target = ResolveForWrite(path);
    const struct timespec times[2] = {TimespecOf(accessedUtc), TimespecOf(modifiedUtc)};
    if (::utimensat(AT_FDCWD, target.c_str(), times, 0) != 0) RaisePosixError("utimensat", errno, target);
  }

  std::vector<std::string> List(std::string_view folder, std::string_view mask) override {
    std::vector<std::string> names;
    // The listing of the name lookups serves while the folder is unchanged: the engine
    // asks for the same folders' merge files and markers once per configuration. A
    // folder spelled as it is needs no resolving.
    std::string where = NativePath(folder);
    bool exists = false;
    std::shared_ptr<const std::vector<std::string>> listing = m_names.Names(where, &exists);
    if (!exists) {
      std::optional<std::string> resolved = Resolve(folder);
      if (!resolved) return names;
      where = std::move(*resolved);
      listing = m_names.Names(where);
    }
    if (!listing) {
      if (errno == ENOENT || errno == ENOTDIR) return names;
      RaisePosixError("opendir", errno, where.empty() ? "." : where);
    }
    for (std::string_view name : *listing) {
      if (name.starts_with('.')) continue;
      if (MatchesMask(name, mask)) names.emplace_back(name);
    }
    std::sort(names.begin(), names.end(), NameOrder);
    return names;
  }

 private:
  // Opens the resolved file, lets `opened` look at it, then hands its bytes to `consume`
  // as each read returns them.
  template <class Opened, class Consume>
  void ReadOpened(std::string_view path, Opened&& opened, Consume&& consume) {
    std::string target = ResolveForWrite(path);
    UniqueFd fd(OpenOrRaise(target, O_RDONLY));
    opened(fd.Get());
    char buffer[65536];
    for (;;) {
      ssize_t got = ::read(fd.Get(), buffer, sizeof buffer);
      if (got < 0) {
        if (errno == EINTR) continue;
        RaisePosixError("read", errno, target);
      }
      if (got == 0) break;
      consume(std::string_view(buffer, static_cast<size_t>(got)));
    }
  }

  struct Resolution {
    std::string path;
    size_t unresolved = 0;  // trailing components kept as written because nothing matched
  };

  // One stat when the path exists as written. Otherwise, most often, only the last name
  // is missing or spelled otherwise, and one lookup in its folder settles it; failing
  // that, stats climb to the deepest folder that exists as written and the names below
  // it are looked up one by one.
  Resolution ResolveComponents(const std::string& native, bool knownMissing = false) {
    if (native.empty() || (!knownMissing && PathExists(native))) return {native, 0};
    std::vector<std::string_view> parts = SplitNonEmpty(native, '/');
    if (parts.empty()) return {native, 0};
    const std::string root = native[0] == '/' ? "/" : "";
    auto prefix = [&](size_t count) {
      std::string path = root;
      for (size_t i = 0; i < count; ++i) path = JoinPath(path, parts[i]);
      return path;
    };

    size_t next = parts.size() - 1;
    std::string current = prefix(next);
    bool folderExists = false;
    std::optional<std::string> match = m_names.Find(current, parts[next], &folderExists);
    if (!folderExists && next > 0) {
      do {
        current = prefix(--next);
      } while (next > 0 && !PathExists(current));
      match = m_names.Find(current, parts[next]);
    }
    while (match) {
      current = JoinPath(current, *match);
      if (++next == parts.size()) break;
      match = m_names.Find(current, parts[next]);
    }

    Resolution result{current, parts.size() - next};
    for (; next < parts.size(); ++next) result.path = JoinPath(result.path, parts[next]);
    if (native.back() == '/' && !result.path.empty() && result.path.back() != '/') result.path.push_back('/');
    return result;
  }

  // Creates the temporary file and names it in `temp`. A name left by a crashed process
  // whose pid came round again is skipped rather than reused.
  static int CreateTempBeside(const std::string& target, std::string& temp) {
    for (int attempt = 0;; ++attempt) {
      temp = TempNameFor(target);
      int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd >= 0) return fd;
      if (errno == EINTR || (errno == EEXIST && attempt < 8)) continue;
      RaisePosixError("open", errno, temp);
    }
  }

  // Beside the target, so the rename stays within one file system; hidden by its dot,
  // and unique across threads and processes.
  static std::string TempNameFor(const std::string& target) {
    static std::atomic<uint64_t> counter{0};
    std::string name = ".";
    name.append(NameOf(target))
        .append(".")
        .append(std::to_string(::getpid()))
        .append(".")
        .append(std::to_string(counter.fetch_add(1, std::memory_order_relaxed)))
        .append(".tmp");
    return JoinPath(FolderOf(target), name);
  }

  FolderNameCache m_names;
};

}  // namespace

std::shared_ptr<FileSystem> MakeLinuxFileSystem() { return std::make_shared<LinuxFileSystem>(); }

}  // namespace korad
