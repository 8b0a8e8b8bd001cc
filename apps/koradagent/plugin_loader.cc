#include "plugin_loader.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>

#include "agent_log.h"
#include "contracts/class_registry.h"
#include "contracts/text.h"

namespace korad::agent {
namespace {

using RegisterFunction = void (*)(ClassRegistry&);

bool IsSharedObjectName(std::string_view name) {
  return name.size() > 3 && EqualsNoCase(name.substr(name.size() - 3), ".so");
}

std::vector<std::string> SharedObjectsIn(const std::string& folder) {
  std::vector<std::string> paths;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) return paths;  // no modules folder: no plug-ins
  while (const dirent* entry = readdir(dir)) {
    if (IsSharedObjectName(entry->d_name)) paths.push_back(folder + "/" + entry->d_name);
  }
  closedir(dir);
  std::sort(paths.begin(), paths.end());  // the same order on every machine
  return paths;
}

}  // namespace

bool PluginLoader::FileStamp::operator==(const FileStamp& other) const {
  return inode == other.inode && size == other.size && modified.tv_sec == other.modified.tv_sec &&
         modified.tv_nsec == other.modified.tv_nsec;
}

PluginLoader::PluginLoader(std::string modulesFolder, ClassRegistry& registry)
    : m_folder(std::move(modulesFolder)), m_registry(registry) {}

PluginLoader::~PluginLoader() {
  if (m_handlerInstalled) m_registry.SetMissHandler(nullptr);
}

void PluginLoader::InstallMissHandler() {
  m_registry.SetMissHandler([this](ClassRegistry&, std::string_view) { return LoadNew() > 0; });
  m_handlerInstalled = true;
}

std::vector<std::string> PluginLoader::LoadedFiles() const {
  std::lock_guard lock(m_mutex);
  return m_loaded;
}

int PluginLoader::LoadNew() {
  // Several section threads may miss at once; one of them scans, the others wait and
  // then find the classes registered.
  std::lock_guard lock(m_mutex);
  int loaded = 0;
  for (const std::string& path : SharedObjectsIn(m_folder)) {
    if (std::find(m_loaded.begin(), m_loaded.end(), path) != m_loaded.end()) continue;
    struct stat st {};
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) continue;
    const FileStamp stamp{st.st_ino, st.st_size, st.st_mtim};
    auto failed = m_failed.find(path);
    if (failed != m_failed.end() && failed->second == stamp) continue;  // the same broken file
    if (Load(path)) {
      m_failed.erase(path);
      m_loaded.push_back(path);
      ++loaded;
    } else {
      m_failed[path] = stamp;
    }
  }
  return loaded;
}

bool PluginLoader::Load(const std::string& path) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* why = dlerror();
    AgentLog(logLevelError, "Plug-in '" + path + "' can't be loaded: " + (why ? why : "unknown error"));
    return false;
  }
  auto entry = reinterpret_cast<RegisterFunction>(dlsym(handle, std::string(kRegisterEntry).c_str()));
  if (entry == nullptr) {
    AgentLog(logLevelError, "Plug-in '" + path + "' has no " + std::string(kRegisterEntry) + " entry; not used");
    dlclose(handle);
    return false;
  }
  try {
    entry(m_registry);
  } catch (...) {
    // Classes it registered before failing stay registered, so the file stays loaded.
    AgentLog(logLevelError, "Plug-in '" + path + "' failed while registering its classes");
  }
  AgentLog(logLevelInfo, "Plug-in '" + path + "' loaded");
  return true;
}

}  // namespace korad::agent
