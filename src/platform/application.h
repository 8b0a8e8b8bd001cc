// mvSystem.Application: the agent service's status, its paths and its log writer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace korad {

// Where log lines go. Levels are those of KORADSLog_Level.
class LogWriter {
 public:
  virtual ~LogWriter() = default;
  // A line under a category; `reserved` is always 0.
  virtual void WriteLine(std::string_view text, std::string_view category, int32_t level, int32_t reserved) = 0;
  // An event for the system's event log.
  virtual void WriteEvent(std::string_view text, std::string_view source) = 0;
  // An information line; `reserved` is always 0.
  virtual void WriteInfo(std::string_view text, std::string_view source, int32_t level, int32_t reserved) = 0;
};

inline constexpr int32_t kServiceRunning = 4;

class Application {
 public:
  virtual ~Application() = default;
  // 4 while the agent service runs; anything else means it is stopping.
  virtual int32_t Status() = 0;
  // The agent's binary folder, home directory + "/BIN"; the other path property is the
  // same folder as the running program sees it. The home is either less its last 4 characters.
  virtual std::string ServicePath() = 0;
  virtual std::string Path() = 0;
  // The writer for log lines, fetched anew for every line.
  virtual std::shared_ptr<LogWriter> Logger() = 0;
};

// The application of an agent at `homeDirectory`: log files under its "LogFiles" folder,
// levels from the "Logging" section of BIN/MvAgent.ini, rotation by size.
class HostApplication;
std::shared_ptr<HostApplication> MakeHostApplication(std::string homeDirectory);

class HostApplication : public Application {
 public:
  // The host sets the status as the service starts and stops.
  virtual void SetStatus(int32_t status) = 0;
};

// The home directory the platform starts with: the KORAD_HOME environment variable, or
// the folder above the running program's folder when that is named "BIN", or the
// current folder.
std::string DefaultHomeDirectory();

}  // namespace korad
