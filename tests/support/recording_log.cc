#include "support/recording_log.h"

namespace korad::testing {

void RecordingLogWriter::WriteLine(std::string_view text, std::string_view category, int32_t level, int32_t) {
  std::lock_guard lock(m_mutex);
  m_lines.push_back({std::string(text), std::string(category), level, LogLine::Line});
}

void RecordingLogWriter::WriteEvent(std::string_view text, std::string_view source) {
  std::lock_guard lock(m_mutex);
  m_lines.push_back({std::string(text), std::string(source), 0, LogLine::Event});
}

void RecordingLogWriter::WriteInfo(std::string_view text, std::string_view source, int32_t level, int32_t) {
  std::lock_guard lock(m_mutex);
  m_lines.push_back({std::string(text), std::string(source), level, LogLine::Info});
}

std::vector<LogLine> RecordingLogWriter::Lines() const {
  std::lock_guard lock(m_mutex);
  return m_lines;
}

FakeApplication::FakeApplication(std::string home) : m_servicePath(home + "/BIN"), m_path(home + "/BIN") {}

std::shared_ptr<LogWriter> FakeApplication::Logger() {
  ++m_fetches;
  return m_writer;
}

}  // namespace korad::testing
