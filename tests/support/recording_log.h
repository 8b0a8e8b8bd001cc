// The application's side of recording logs: its log writer, and an application with it.
// The log manager that records is in recording_log_manager.h.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "platform/application.h"
#include "support/recording_log_manager.h"

namespace korad::testing {

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
