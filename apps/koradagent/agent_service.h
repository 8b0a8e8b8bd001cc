// The agent service: one SectionRunner per section of the service file, the plug-ins of
// the modules folder, the application status, and the service file watched for changes
// (new sections start, removed ones stop, changed ones restart).
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "contracts/text.h"
#include "plugin_loader.h"
#include "section_runner.h"

namespace korad {
class ClassRegistry;
}

namespace korad::agent {

// The statuses the service shows; the library reads 4 as running, anything else as stopping.
inline constexpr int32_t kServiceStopped = 1;
inline constexpr int32_t kServiceStopPending = 3;

struct ServiceSettings {
  std::string home;
  bool once = false;
  std::chrono::milliseconds retryInterval{std::chrono::seconds(60)};
  // How often the service file is looked at for changes (one stat).
  std::chrono::milliseconds reloadCheckInterval{std::chrono::seconds(3)};
};

class AgentService {
 public:
  AgentService(ServiceSettings settings, ClassRegistry& registry);
  ~AgentService();  // stops
  AgentService(const AgentService&) = delete;
  AgentService& operator=(const AgentService&) = delete;

  // Loads the plug-ins, sets the status to running and starts every section. False,
  // with the reason in `error`, if the home folder or the service file is missing.
  bool Start(std::string& error);

  // Blocks until RequestStop, looking at the service file every reloadCheckInterval. In
  // once mode returns when every section has run once (or on RequestStop).
  void Run();

  // Safe from any thread; returns at once.
  void RequestStop();

  // Status "stopping", every section told to stop, their threads joined; then "stopped".
  void Stop();

  // Applies the service file as it is now. Run does this when the file changes.
  void Reload();

  // Names of the sections that have a runner, in name order.
  std::vector<std::string> SectionNames() const;
  const PluginLoader& Plugins() const { return m_plugins; }

 private:
  struct FileStamp {
    bool exists = false;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    bool operator==(const FileStamp& other) const;
  };
  static FileStamp StampOf(const std::string& path);
  std::shared_ptr<SectionRunner> MakeRunner(const SectionConfig& section);
  std::vector<std::shared_ptr<SectionRunner>> Runners() const;

  const ServiceSettings m_settings;
  const std::string m_serviceFile;
  ClassRegistry& m_registry;
  PluginLoader m_plugins;

  mutable std::mutex m_mutex;
  std::condition_variable m_wake;
  bool m_stopRequested = false;  // guarded by m_mutex
  bool m_started = false;
  // By section name, ignoring case. Guarded by m_mutex; changed by the thread that runs
  // Start, Reload and Stop.
  std::unordered_map<std::string, std::shared_ptr<SectionRunner>, NoCaseHash, NoCaseEqual> m_runners;
  FileStamp m_stamp;
};

}  // namespace korad::agent
