// The one context through which the library reaches the machine. Each service is made
// on first use from the Linux implementation; tests replace services piece by piece.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace korad {

class Application;
class HostApplication;
class Clock;
class Encrypter;
class Environment;
class FileSystem;
class ProcessLauncher;
class Registry;
class SystemFacts;

// Holds one service: the first Get makes it, Set replaces it. Replaced services are
// kept alive until the slot dies, so a reference handed out earlier stays valid.
template <class T>
class ServiceSlot {
 public:
  T& Get(const std::function<std::shared_ptr<T>()>& make) {
    if (T* p = m_current.load(std::memory_order_acquire)) return *p;
    std::lock_guard lock(m_mutex);
    if (T* p = m_current.load(std::memory_order_relaxed)) return *p;
    Adopt(make());
    return *m_current.load(std::memory_order_relaxed);
  }
  void Set(std::shared_ptr<T> service) {
    std::lock_guard lock(m_mutex);
    if (service) {
      Adopt(std::move(service));
    } else {
      m_current.store(nullptr, std::memory_order_release);
    }
  }

 private:
  void Adopt(std::shared_ptr<T> service) {
    m_owned.push_back(service);
    m_current.store(service.get(), std::memory_order_release);
  }
  std::atomic<T*> m_current{nullptr};
  std::mutex m_mutex;
  std::vector<std::shared_ptr<T>> m_owned;
};

class Platform {
 public:
  static Platform& Current();

  Clock& GetClock();
  void SetClock(std::shared_ptr<Clock> clock);

  FileSystem& GetFileSystem();
  void SetFileSystem(std::shared_ptr<FileSystem> fileSystem);

  // The agent application; made from DefaultHomeDirectory() unless the host sets one.
  HostApplication& GetApplication();
  void SetApplication(std::shared_ptr<HostApplication> application);
  // Shorthand for the application's home directory (no trailing separator).
  std::string HomeDirectory();

  // Made for the home directory in force at first use: <home>/Registry.
  Registry& GetRegistry();
  void SetRegistry(std::shared_ptr<Registry> registry);

  // Made for the home directory in force at first use: <home>/BIN/agent.key.
  Encrypter& GetEncrypter();
  void SetEncrypter(std::shared_ptr<Encrypter> encrypter);

  ProcessLauncher& GetProcessLauncher();
  void SetProcessLauncher(std::shared_ptr<ProcessLauncher> launcher);

  // Environment variables, the program's path, random bytes, the locale's weekday names.
  Environment& GetEnvironment();
  void SetEnvironment(std::shared_ptr<Environment> environment);

  SystemFacts& GetSystemFacts();
  void SetSystemFacts(std::shared_ptr<SystemFacts> facts);

  // Drops every replacement and made service: the next use makes them anew. For tests.
  void Reset();

 private:
  Platform() = default;
  std::unique_ptr<ServiceSlot<Clock>> m_clock = std::make_unique<ServiceSlot<Clock>>();
  std::unique_ptr<ServiceSlot<FileSystem>> m_fileSystem = std::make_unique<ServiceSlot<FileSystem>>();
  std::unique_ptr<ServiceSlot<HostApplication>> m_application = std::make_unique<ServiceSlot<HostApplication>>();
  std::unique_ptr<ServiceSlot<Registry>> m_registry = std::make_unique<ServiceSlot<Registry>>();
  std::unique_ptr<ServiceSlot<Encrypter>> m_encrypter = std::make_unique<ServiceSlot<Encrypter>>();
  std::unique_ptr<ServiceSlot<ProcessLauncher>> m_processLauncher = std::make_unique<ServiceSlot<ProcessLauncher>>();
  std::unique_ptr<ServiceSlot<Environment>> m_environment = std::make_unique<ServiceSlot<Environment>>();
  std::unique_ptr<ServiceSlot<SystemFacts>> m_systemFacts = std::make_unique<ServiceSlot<SystemFacts>>();
};

}  // namespace korad
