#include "support/recording_log.h"

namespace korad::testing {

void RecordingLogManager::Log(std::string_view description, std::string_view category, KORADSLog_Level logLevel) {
  std::lock_guard lock(m_mutex);
  m_lines.push_back({std::string(description), std::string(category), logLevel, LogLine::Line});
}

void RecordingLogManager::LogInfo(std::string_view logMessage, std::string_view messageSource) {
  std::lock_guard lock(m_mutex);
  m_lines.push_back({std::string(logMessage), std::string(messageSource), logLevelInfo, LogLine::Info});
}

std::vector<LogLine> RecordingLogManager::Lines() const {
  std::lock_guard lock(m_mutex);
  return m_lines;
}

std::vector<LogLine> RecordingLogManager::Matching(std::string_view fragment, std::string_view category) const {
  std::lock_guard lock(m_mutex);
  std::vector<LogLine> found;
  for (const LogLine& line : m_lines) {
    if (line.text.find(fragment) == std::string::npos) continue;
    if (!category.empty() && line.category != category) continue;
    found.push_back(line);
  }
  return found;
}

size_t RecordingLogManager::CountAtLevel(int32_t level) const {
  std::lock_guard lock(m_mutex);
  size_t n = 0;
  for (const LogLine& line : m_lines) n += line.level == level;
  return n;
}

void RecordingLogManager::Clear() {
  std::lock_guard lock(m_mutex);
  m_lines.clear();
}

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
