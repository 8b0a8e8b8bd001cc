#include "platform/linux/file_log_writer.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>

#include "platform/clock.h"
#include "platform/date_time_converter.h"
#include "platform/platform.h"
#include "platform/profile.h"

namespace korad {
namespace {

constexpr uint32_t kSettingsCheckMs = 1000;
constexpr int32_t kDefaultLevel = 6;
constexpr int64_t kDefaultMaxSizeKB = 1024;
constexpr int64_t kDefaultMaxFiles = 5;
constexpr int64_t kMostFiles = 100;
constexpr int64_t kLargestSizeKB = int64_t{1} << 30;

int64_t ReadNumber(const std::string& iniPath, const char* key, int64_t defaultValue) {
  const std::string text = GetPrivateProfileString("Logging", key, "", iniPath);
  int64_t value = 0;
  const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  return ec == std::errc() && end == text.data() + text.size() ? value : defaultValue;
}

// "YYYY-MM-DD HH:MM:SS.mmmZ" of the platform clock's present time.
std::string TimeStamp() {
  const int64_t ms = Platform::Current().GetClock().UtcNow().ToUnixMillis();
  int64_t fraction = ms % 1000;
  if (fraction < 0) fraction += 1000;
  std::string stamp = DateTimeConverter::ToPlainText(OleDate::FromUnixMillis(ms - fraction));
  char tail[8];
  std::snprintf(tail, sizeof tail, ".%03dZ", static_cast<int>(fraction));
  return stamp + tail;
}

// Appends a text with its line breaks turned into blanks.
void AppendFlat(std::string& out, std::string_view text) {
  const size_t start = out.size();
  out.append(text);
  std::replace_if(
      out.begin() + static_cast<std::ptrdiff_t>(start), out.end(),
      [](char c) { return c == '\n' || c == '\r'; }, ' ');
}

std::string Record(std::string_view text, std::string_view category, const int32_t* level) {
  std::string record = TimeStamp();
  record += ' ';
  if (level != nullptr) {
    record += std::to_string(*level);
    record += ' ';
  }
  record += '[';
  AppendFlat(record, category);
  record += "] ";
  AppendFlat(record, text);
  record += '\n';
  return record;
}

}  // namespace

bool FileLogWriter::FileStamp::operator==(const FileStamp& other) const {
  return exists == other.exists && device == other.device && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

FileLogWriter::FileStamp FileLogWriter::StampOf(const std::string& path) {
  FileStamp stamp;
  struct stat st {};
  if (stat(path.c_str(), &st) != 0) return stamp;
  stamp.exists = true;
  stamp.device = st.st_dev;
  stamp.inode = st.st_ino;
  stamp.size = st.st_size;
  stamp.modified = st.st_mtim;
  return stamp;
}

FileLogWriter::FileLogWriter(const std::string& homeDirectory)
    : m_iniPath(homeDirectory + "/BIN/MvAgent.ini"),
      m_agentLog(homeDirectory + "/LogFiles", "MvAgent"),
      m_eventLog(homeDirectory + "/LogFiles", "Events") {
  std::lock_guard lock(m_settingsMutex);
  m_lastCheckTick.store(static_cast<uint32_t>(Platform::Current().GetClock().TickCount()));
  m_iniStamp = StampOf(m_iniPath);
  LoadSettings();
}

void FileLogWriter::LoadSettings() {
  const int64_t level = ReadNumber(m_iniPath, "Level", kDefaultLevel);
  const int64_t maxSizeKB = ReadNumber(m_iniPath, "MaxSizeKB", kDefaultMaxSizeKB);
  const int64_t maxFiles = ReadNumber(m_iniPath, "MaxFiles", kDefaultMaxFiles);
  m_level.store(static_cast<int32_t>(std::clamp<int64_t>(level, INT32_MIN, INT32_MAX)));
  m_maxBytes.store(std::clamp<int64_t>(maxSizeKB, 0, kLargestSizeKB) * 1024);
  m_maxFiles.store(static_cast<int32_t>(std::clamp<int64_t>(maxFiles, 0, kMostFiles)));
}

void FileLogWriter::CheckSettingsNowAndThen() {
  const uint32_t now = static_cast<uint32_t>(Platform::Current().GetClock().TickCount());
  if (now - m_lastCheckTick.load(std::memory_order_relaxed) < kSettingsCheckMs) return;
  std::unique_lock lock(m_settingsMutex, std::try_to_lock);
  if (!lock.owns_lock()) return;  // another thread is checking
  if (now - m_lastCheckTick.load(std::memory_order_relaxed) < kSettingsCheckMs) return;
  m_lastCheckTick.store(now, std::memory_order_relaxed);
  const FileStamp stamp = StampOf(m_iniPath);
  if (!(stamp == m_iniStamp)) {
    m_iniStamp = stamp;
    LoadSettings();
  }
  m_agentLog.Recheck();
  m_eventLog.Recheck();
}

RotationLimits FileLogWriter::Limits() const {
  return RotationLimits{m_maxBytes.load(std::memory_order_relaxed),
                        m_maxFiles.load(std::memory_order_relaxed)};
}

void FileLogWriter::Write(RotatingLogFile& file, std::string_view text, std::string_view category,
                          const int32_t* level) {
  try {
    CheckSettingsNowAndThen();
    if (level != nullptr && !Passes(*level)) return;
    if (!file.Append(Record(text, category, level), Limits())) {
      m_failedWrites.fetch_add(1, std::memory_order_relaxed);
    }
  } catch (...) {  // out of memory: the line is lost, the caller goes on
    m_failedWrites.fetch_add(1, std::memory_order_relaxed);
  }
}

void FileLogWriter::WriteLine(std::string_view text, std::string_view category, int32_t level,
                              int32_t reserved) {
  Write(m_agentLog, text, category, &level);
}

void FileLogWriter::WriteEvent(std::string_view text, std::string_view source) {
  Write(m_eventLog, text, source, nullptr);
}

void FileLogWriter::WriteInfo(std::string_view text, std::string_view source, int32_t level,
                              int32_t reserved) {
  WriteLine(text, source, level, reserved);
}

}  // namespace korad
