#include "agent_log.h"

#include <mutex>
#include <string>

#include "platform/platform.h"

namespace korad::agent {
namespace {

// Trace lines (level 7) stay in the files: a console full of them hides what matters.
constexpr int32_t kConsoleLevel = logLevelInfo;

class ConsoleLogWriter final : public LogWriter {
 public:
  ConsoleLogWriter(std::shared_ptr<HostApplication> application, std::FILE* console)
      : m_application(std::move(application)), m_console(console) {}

  void WriteLine(std::string_view text, std::string_view category, int32_t level, int32_t reserved) override {
    m_application->Logger()->WriteLine(text, category, level, reserved);
    if (level <= kConsoleLevel) Print(std::to_string(level) + " [" + std::string(category) + "] ", text);
  }
  void WriteEvent(std::string_view text, std::string_view source) override {
    m_application->Logger()->WriteEvent(text, source);
    Print("event [" + std::string(source) + "] ", text);
  }
  void WriteInfo(std::string_view text, std::string_view source, int32_t level, int32_t reserved) override {
    m_application->Logger()->WriteInfo(text, source, level, reserved);
    if (level <= kConsoleLevel) Print(std::to_string(level) + " [" + std::string(source) + "] ", text);
  }

 private:
  void Print(std::string line, std::string_view text) {
    line.append(text);
    line.push_back('\n');
    std::lock_guard lock(m_mutex);  // one line from one thread at a time
    std::fwrite(line.data(), 1, line.size(), m_console);
    std::fflush(m_console);
  }

  const std::shared_ptr<HostApplication> m_application;
  std::FILE* const m_console;
  std::mutex m_mutex;
};

class ConsoleLoggingApplication final : public HostApplication {
 public:
  ConsoleLoggingApplication(std::shared_ptr<HostApplication> inner, std::FILE* console)
      : m_inner(inner), m_writer(std::make_shared<ConsoleLogWriter>(std::move(inner), console)) {}

  int32_t Status() override { return m_inner->Status(); }
  void SetStatus(int32_t status) override { m_inner->SetStatus(status); }
  std::string ServicePath() override { return m_inner->ServicePath(); }
  std::string Path() override { return m_inner->Path(); }
  std::shared_ptr<LogWriter> Logger() override { return m_writer; }

 private:
  const std::shared_ptr<HostApplication> m_inner;
  const std::shared_ptr<LogWriter> m_writer;
};

}  // namespace

void AgentLog(KORADSLog_Level level, std::string_view text) {
  try {
    Platform::Current().GetApplication().Logger()->WriteLine(text, kAgentLogCategory, level, 0);
  } catch (...) {
    // A log writer that fails must not take a section thread down with it.
  }
}

std::shared_ptr<HostApplication> WithConsoleLog(std::shared_ptr<HostApplication> inner, std::FILE* console) {
  return std::make_shared<ConsoleLoggingApplication>(std::move(inner), console);
}

}  // namespace korad::agent
