// One log file kept open between lines and set aside by size: <folder>/<stem>.log is
// written, <stem>.1.log is the newest full one, <stem>.<maxFiles>.log the oldest kept.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace korad {

struct RotationLimits {
  int64_t maxBytes = 1024 * 1024;  // 0 or less: never rotate
  int32_t maxFiles = 5;            // full files kept; 0 drops the full file
};

class RotatingLogFile {
 public:
  RotatingLogFile(std::string folder, std::string stem);
  ~RotatingLogFile();
  RotatingLogFile(const RotatingLogFile&) = delete;
  RotatingLogFile& operator=(const RotatingLogFile&) = delete;

  // Appends `record` (whole lines) in one write, first setting the file aside when the
  // record would take it past the limit. Threads may call it at once; records never
  // interleave. False when the record could not be written: it is then dropped.
  bool Append(std::string_view record, const RotationLimits& limits);

  // Asks the next Append to check that the open file is still the one at the path (a
  // second writer may have rotated or removed it) and to retry an open that failed.
  void Recheck() { m_recheck.store(true, std::memory_order_relaxed); }

  std::string PathOf(int32_t index) const;

 private:
  bool EnsureOpenLocked();
  void CloseLocked();
  void RotateLocked(int32_t maxFiles);
  bool WriteAllLocked(std::string_view record);

  const std::string m_folder;
  const std::string m_stem;
  std::mutex m_mutex;
  int m_fd = -1;
  bool m_openFailed = false;  // retried only after Recheck, so a dead disk costs no syscall per line
  int64_t m_size = 0;
  dev_t m_device = 0;
  ino_t m_inode = 0;
  std::atomic<bool> m_recheck{false};
};

}  // namespace korad
