// Wires the Linux implementations into the platform context.
#include <string>

#include "platform/application.h"
#include "platform/clock.h"
#include "platform/encrypter.h"
#include "platform/environment.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "platform/system_facts.h"

namespace korad {

Platform& Platform::Current() {
  static Platform* platform = new Platform();  // never destroyed: threads may outlive main
  return *platform;
}

Clock& Platform::GetClock() { return m_clock->Get(MakeSystemClock); }
void Platform::SetClock(std::shared_ptr<Clock> clock) { m_clock->Set(std::move(clock)); }

FileSystem& Platform::GetFileSystem() { return m_fileSystem->Get(MakeLinuxFileSystem); }
void Platform::SetFileSystem(std::shared_ptr<FileSystem> fileSystem) {
  m_fileSystem->Set(std::move(fileSystem));
}

HostApplication& Platform::GetApplication() {
  return m_application->Get([] { return MakeHostApplication(DefaultHomeDirectory()); });
}
void Platform::SetApplication(std::shared_ptr<HostApplication> application) {
  m_application->Set(std::move(application));
}

std::string Platform::HomeDirectory() {
  std::string bin = GetApplication().ServicePath();
  return bin.size() >= 4 ? bin.substr(0, bin.size() - 4) : std::string();
}

Registry& Platform::GetRegistry() {
  return m_registry->Get([this] { return MakeFileRegistry(HomeDirectory() + "/Registry"); });
}
void Platform::SetRegistry(std::shared_ptr<Registry> registry) { m_registry->Set(std::move(registry)); }

Encrypter& Platform::GetEncrypter() {
  return m_encrypter->Get([this] { return MakeAesEncrypter(HomeDirectory() + "/BIN/agent.key"); });
}
void Platform::SetEncrypter(std::shared_ptr<Encrypter> encrypter) {
  m_encrypter->Set(std::move(encrypter));
}

ProcessLauncher& Platform::GetProcessLauncher() { return m_processLauncher->Get(MakePosixProcessLauncher); }
void Platform::SetProcessLauncher(std::shared_ptr<ProcessLauncher> launcher) {
  m_processLauncher->Set(std::move(launcher));
}

Environment& Platform::GetEnvironment() { return m_environment->Get(MakeLinuxEnvironment); }
void Platform::SetEnvironment(std::shared_ptr<Environment> environment) {
  m_environment->Set(std::move(environment));
}

SystemFacts& Platform::GetSystemFacts() { return m_systemFacts->Get(MakeProcSystemFacts); }
void Platform::SetSystemFacts(std::shared_ptr<SystemFacts> facts) { m_systemFacts->Set(std::move(facts)); }

void Platform::Reset() {
  m_clock = std::make_unique<ServiceSlot<Clock>>();
  m_fileSystem = std::make_unique<ServiceSlot<FileSystem>>();
  m_application = std::make_unique<ServiceSlot<HostApplication>>();
  m_registry = std::make_unique<ServiceSlot<Registry>>();
  m_encrypter = std::make_unique<ServiceSlot<Encrypter>>();
  m_processLauncher = std::make_unique<ServiceSlot<ProcessLauncher>>();
  m_environment = std::make_unique<ServiceSlot<Environment>>();
  m_systemFacts = std::make_unique<ServiceSlot<SystemFacts>>();
}

}  // namespace korad
