#include "agent_service.h"

#include <sys/stat.h>

#include <algorithm>
#include <set>

#include "agent_log.h"
#include "platform/application.h"
#include "platform/platform.h"
#include "service_file.h"

namespace korad::agent {

bool AgentService::FileStamp::operator==(const FileStamp& other) const {
  return exists == other.exists && inode == other.inode && size == other.size &&
         modified.tv_sec == other.modified.tv_sec && modified.tv_nsec == other.modified.tv_nsec;
}

AgentService::FileStamp AgentService::StampOf(const std::string& path) {
  FileStamp stamp;
  struct stat st {};
  if (stat(path.c_str(), &st) != 0) return stamp;
  stamp.exists = true;
  stamp.inode = st.st_ino;
  stamp.size = st.st_size;
  stamp.modified = st.st_mtim;
  return stamp;
}

AgentService::AgentService(ServiceSettings settings, ClassRegistry& registry)
    : m_settings(std::move(settings)),
      m_serviceFile(ServiceFilePath(m_settings.home)),
      m_registry(registry),
      m_plugins(m_settings.home + "/Modules", registry) {}

AgentService::~AgentService() { Stop(); }

std::shared_ptr<SectionRunner> AgentService::MakeRunner(const SectionConfig& section) {
  return std::make_shared<SectionRunner>(section, m_registry,
                                         RunnerSettings{m_settings.once, m_settings.retryInterval});
}

std::vector<std::shared_ptr<SectionRunner>> AgentService::Runners() const {
  std::lock_guard lock(m_mutex);
  std::vector<std::shared_ptr<SectionRunner>> runners;
  for (const auto& [name, runner] : m_runners) runners.push_back(runner);
  return runners;
}

std::vector<std::string> AgentService::SectionNames() const {
  std::vector<std::string> names;
  for (const auto& runner : Runners()) names.push_back(runner->Section().name);
  std::sort(names.begin(), names.end());
  return names;
}

bool AgentService::Start(std::string& error) {
  struct stat st {};
  if (stat(m_settings.home.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
    error = "home folder '" + m_settings.home + "' does not exist";
    return false;
  }
  m_stamp = StampOf(m_serviceFile);
  if (!m_stamp.exists) {
    error = "service file '" + m_serviceFile + "' does not exist";
    return false;
  }
  const int plugins = m_plugins.LoadNew();
  m_plugins.InstallMissHandler();
  Platform::Current().GetApplication().SetStatus(kServiceRunning);
  m_started = true;

  const std::vector<SectionConfig> sections = ReadServiceFile(m_serviceFile);
  AgentLog(logLevelInfo, "Agent starting at '" + m_settings.home + "': " + std::to_string(sections.size()) +
                             " sections, " + std::to_string(plugins) + " plug-ins" +
                             (m_settings.once ? ", running each section once" : ""));
  std::lock_guard lock(m_mutex);
  for (const SectionConfig& section : sections) {
    if (m_runners.contains(section.name)) continue;
    auto runner = MakeRunner(section);
    m_runners.emplace(section.name, runner);
    if (!m_stopRequested) runner->Start();
  }
  return true;
}

void AgentService::Reload() {
  const FileStamp stamp = StampOf(m_serviceFile);
  if (!stamp.exists) {
    // Writers replace the file by rename, so it is never missing for long; the sections
    // keep running as they were.
    if (m_stamp.exists) AgentLog(logLevelWarningHigh, "Service file '" + m_serviceFile + "' is gone; sections run on");
    m_stamp = stamp;
    return;
  }
  m_stamp = stamp;
  const std::vector<SectionConfig> sections = ReadServiceFile(m_serviceFile);

  // Decide under the lock, stop and join outside it: a running ExecuteMethod may take a while.
  std::vector<std::shared_ptr<SectionRunner>> ending;
  std::vector<SectionConfig> starting;
  int restarted = 0;
  {
    std::lock_guard lock(m_mutex);
    std::set<std::string, std::less<>> wanted;
    for (const SectionConfig& section : sections) {
      wanted.insert(NormalizeKey(section.name));
      auto it = m_runners.find(section.name);
      if (it != m_runners.end()) {
        if (it->second->Section() == section) continue;
        ending.push_back(it->second);
        m_runners.erase(it);
        ++restarted;
      }
      starting.push_back(section);
    }
    for (auto it = m_runners.begin(); it != m_runners.end();) {
      if (wanted.contains(NormalizeKey(it->first))) {
        ++it;
      } else {
        ending.push_back(it->second);
        it = m_runners.erase(it);
      }
    }
  }
  if (ending.empty() && starting.empty()) return;
  AgentLog(logLevelInfo, "Service file changed: " + std::to_string(starting.size() - restarted) + " sections added, " +
                             std::to_string(ending.size() - restarted) + " removed, " + std::to_string(restarted) +
                             " changed");
  for (const auto& runner : ending) runner->RequestStop();
  for (const auto& runner : ending) {
    runner->Join();
    AgentLog(logLevelInfo, "Section '" + runner->Section().name + "' stopped");
  }
  // A changed section starts again only once its old object is gone: the two would
  // share state files.
  std::lock_guard lock(m_mutex);
  if (m_stopRequested) return;
  for (const SectionConfig& section : starting) {
    auto runner = MakeRunner(section);
    m_runners.emplace(section.name, runner);
    runner->Start();
  }
}

void AgentService::Run() {
  if (m_settings.once) {
    for (const auto& runner : Runners()) runner->Join();
    return;
  }
  std::unique_lock lock(m_mutex);
  while (!m_wake.wait_for(lock, m_settings.reloadCheckInterval, [this] { return m_stopRequested; })) {
    lock.unlock();
    if (!(StampOf(m_serviceFile) == m_stamp)) Reload();
    lock.lock();
  }
}

void AgentService::RequestStop() {
  {
    std::lock_guard lock(m_mutex);
    m_stopRequested = true;
    for (const auto& [name, runner] : m_runners) runner->RequestStop();
  }
  m_wake.notify_all();
}

void AgentService::Stop() {
  if (!m_started) return;
  m_started = false;
  // The library's long loops watch the status and end between configurations.
  Platform::Current().GetApplication().SetStatus(kServiceStopPending);
  AgentLog(logLevelInfo, "Agent stopping");
  RequestStop();
  std::vector<std::shared_ptr<SectionRunner>> runners;
  {
    std::lock_guard lock(m_mutex);
    for (auto& [name, runner] : m_runners) runners.push_back(std::move(runner));
    m_runners.clear();
  }
  for (const auto& runner : runners) runner->Join();
  runners.clear();
  AgentLog(logLevelInfo, "Agent stopped");
  Platform::Current().GetApplication().SetStatus(kServiceStopped);
}

}  // namespace korad::agent
