// Loggers that remember what they were told, so tests assert on log lines.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "contracts/interfaces.h"
#include "platform/application.h"

namespace korad::testing {

struct LogLine {
  std::string text;
  std::string category;
  int32_t level = 0;
  enum Kind { Line, Info, Event } kind = Line;
};

// Stands where a LogManager stands: records Log and LogInfo calls.
class RecordingLogManager final : public ILogManager {
 public:
  void Log(std::string_view description, std::string_view category, KORADSLog_Level logLevel = logLevelError) override;
  void LogInfo(std::string_view logMessage, std::string_view messageSource) override;
  bool DetailLoggingOn() override { return m_detail; }
  void SetDetailLoggingOn(bool on) override { m_detail = on; }

  std::vector<LogLine> Lines() const;
  // Lines whose text contains `fragment` (and, if given, whose category matches).
  std::vector<LogLine> Matching(std::string_view fragment, std::string_view category = {}) const;
  size_t CountAtLevel(int32_t level) const;
  void Clear();

 private:
  mutable std::mutex m_mutex;
  std::vector<LogLine> m_lines;
  bool m_detail = false;
};

// The application's log writer, recording.
class RecordingLogWriter final : public LogWriter {
 public:
  void WriteLine(std::string_view text, std::string_view category, int32_t level, int32_t reserved) override;
  void WriteEvent(std::string_view text, std::string_view source) override;
  void WriteInfo(std::string_view text, std::string_view source, int32_t level, int32_t reserved) override;
  std::vector<LogLine> Lines() const;

 private:
  mutable std::mutex m_mutex;
  std::vector<LogLine> m_lines;
};

// An application with a settable status and home, logging into a RecordingLogWriter.
class FakeApplication final : public HostApplication {
 public:
  explicit FakeApplication(std::string home = "/tmp/korad-fake-home");
  int32_t Status() override { return m_status; }
  void SetStatus(int32_t status) override { m_status = status; }
  std::string ServicePath() override { return m_servicePath; }
  std::string Path() override { return m_path; }
  std::shared_ptr<LogWriter> Logger() override;

  void SetServicePath(std::string path) { m_servicePath = std::move(path); }
  void SetPath(std::string path) { m_path = std::move(path); }
  RecordingLogWriter& Writer() { return *m_writer; }
  int LoggerFetches() const { return m_fetches; }

 private:
  int32_t m_status = kServiceRunning;
  std::string m_servicePath;
  std::string m_path;
  std::shared_ptr<RecordingLogWriter> m_writer = std::make_shared<RecordingLogWriter>();
  int m_fetches = 0;
};

}  // namespace korad::testing
