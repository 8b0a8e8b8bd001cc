// The agent's log files under <home>/LogFiles:
//   "MvAgent.log"  lines and information lines:
//                  "YYYY-MM-DD HH:MM:SS.mmmZ <level> [<category>] <text>"
//   "Events.log"   events: "YYYY-MM-DD HH:MM:SS.mmmZ [<source>] <text>"
// Times are UTC, so lines from either side of a daylight saving change sort as written.
// Line breaks inside a text become blanks: one line is one record.
//
// Levels and sizes come from the "Logging" section of <home>/BIN/MvAgent.ini: "Level"
// (default 6; a line above it is dropped, a line at 2 or below is always written),
// "MaxSizeKB" (default 1024; a file that would pass it is renamed to "<name>.1.log",
// older ones move up a number) and "MaxFiles" (default 5 full files kept). The ini is
// read at construction and again when it changes, looked at no more than once a second
// of the platform clock's tick count.
//
// Logging never fails its caller: a line that cannot be written (missing folder, full
// disk) is counted and dropped, and the writer retries the file at the next check.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <string>

#include "platform/application.h"
#include "platform/linux/rotating_log_file.h"

namespace korad {

class FileLogWriter final : public LogWriter {
 public:
  explicit FileLogWriter(const std::string& homeDirectory);

  void WriteLine(std::string_view text, std::string_view category, int32_t level, int32_t reserved) override;
  void WriteEvent(std::string_view text, std::string_view source) override;
  void WriteInfo(std::string_view text, std::string_view source, int32_t level, int32_t reserved) override;

  // Lines that could not be written since construction.
  int64_t FailedWrites() const { return m_failedWrites.load(std::memory_order_relaxed); }
  // The level in force.
  int32_t Level() const { return m_level.load(std::memory_order_relaxed); }

 private:
  // What identifies one version of the ini: a rewrite by rename changes the inode, an
  // edit in place the size or the time.
  struct FileStamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    bool operator==(const FileStamp& other) const;
  };
  static FileStamp StampOf(const std::string& path);

  bool Passes(int32_t level) const { return level <= 2 || level <= Level(); }
  void CheckSettingsNowAndThen();
  void LoadSettings();
  RotationLimits Limits() const;
  // A record for `file`; `level` is left out of event records.
  void Write(RotatingLogFile& file, std::string_view text, std::string_view category, const int32_t* level);

  const std::string m_iniPath;
  RotatingLogFile m_agentLog;
  RotatingLogFile m_eventLog;

  std::atomic<int32_t> m_level{6};
  std::atomic<int64_t> m_maxBytes{1024 * 1024};
  std::atomic<int32_t> m_maxFiles{5};
  std::atomic<uint32_t> m_lastCheckTick{0};
  std::mutex m_settingsMutex;
  FileStamp m_iniStamp;  // guarded by m_settingsMutex
  std::atomic<int64_t> m_failedWrites{0};
};

}  // namespace korad
