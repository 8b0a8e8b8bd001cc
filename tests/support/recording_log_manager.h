// A log manager that remembers what it was told, so tests assert on log lines. On the
// contracts alone, so the contracts' tests use it without the platform.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "contracts/interfaces.h"

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

}  // namespace korad::testing
