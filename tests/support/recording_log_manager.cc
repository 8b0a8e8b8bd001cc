#include "support/recording_log_manager.h"

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

}  // namespace korad::testing
