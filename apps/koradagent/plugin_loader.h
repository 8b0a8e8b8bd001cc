// Plug-ins: shared objects in the modules folder that export
//   extern "C" void KoradRegister(korad::ClassRegistry&);
// The loader opens each file once and lets it register its classes. Installed as the
// registry's miss handler, it looks at the folder again whenever a class can't be
// created, so a plug-in that arrives by transfer is found without a restart. Loaded
// files stay loaded for the life of the process: objects of their classes may live on.
#pragma once

#include <sys/types.h>

#include <ctime>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace korad {
class ClassRegistry;
}

namespace korad::agent {

inline constexpr std::string_view kRegisterEntry = "KoradRegister";

class PluginLoader {
 public:
  PluginLoader(std::string modulesFolder, ClassRegistry& registry);
  // Takes itself off the registry; the loaded files stay loaded.
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  // Opens every "*.so" of the folder not opened before and calls its entry. A file that
  // failed (no entry, unresolved symbols) is tried again only once it has changed.
  // Returns how many files were loaded by this call.
  int LoadNew();

  // Makes LoadNew the registry's miss handler.
  void InstallMissHandler();

  // The files loaded so far, in the order they were loaded.
  std::vector<std::string> LoadedFiles() const;

 private:
  struct FileStamp {
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    bool operator==(const FileStamp& other) const;
  };
  bool Load(const std::string& path);

  const std::string m_folder;
  ClassRegistry& m_registry;
  bool m_handlerInstalled = false;
  mutable std::mutex m_mutex;
  std::vector<std::string> m_loaded;
  std::map<std::string, FileStamp> m_failed;  // path -> the version that failed
};

}  // namespace korad::agent
