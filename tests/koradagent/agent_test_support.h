// What the host's tests share: an application that records log lines and has a status
// safe to read from section threads, a probe class whose instances report what the
// host did to them, and a temporary home with its service file.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "contracts/class_registry.h"
#include "contracts/error.h"
#include "contracts/object.h"
#include "platform/application.h"
#include "platform/platform.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::agent::testing {

using korad::testing::LogLine;
using korad::testing::RecordingLogWriter;
using korad::testing::TempHome;

class RecordingHostApplication final : public HostApplication {
 public:
  explicit RecordingHostApplication(std::string home) : m_home(std::move(home)) {}
  int32_t Status() override { return m_status.load(); }
  void SetStatus(int32_t status) override { m_status.store(status); }
  std::string ServicePath() override { return m_home + "/BIN"; }
  std::string Path() override { return ServicePath(); }
  std::shared_ptr<LogWriter> Logger() override { return m_writer; }

  std::vector<LogLine> Lines() const { return m_writer->Lines(); }
  // Lines whose text holds `fragment`, at `level` unless it is -2.
  std::vector<LogLine> Matching(const std::string& fragment, int32_t level = -2) const {
    std::vector<LogLine> found;
    for (const LogLine& line : Lines()) {
      if (line.text.find(fragment) != std::string::npos && (level == -2 || line.level == level)) found.push_back(line);
    }
    return found;
  }

 private:
  const std::string m_home;
  std::atomic<int32_t> m_status{0};
  const std::shared_ptr<RecordingLogWriter> m_writer = std::make_shared<RecordingLogWriter>();
};

// What probes tell: one record per instance, keyed by the "Label" property the service
// file gives them.
class ProbeBoard {
 public:
  struct Instance {
    std::string label;
    std::vector<std::pair<std::string, std::string>> properties;  // in the order they were set
    int inits = 0;
    int executes = 0;
    bool destroyed = false;
    int32_t statusSeenAtEnd = -1;  // by ExecuteMethod=WaitWhileRunning
  };

  int NewInstance() {
    std::lock_guard lock(m_mutex);
    m_instances.emplace_back();
    return static_cast<int>(m_instances.size()) - 1;
  }
  void Change(int id, const std::function<void(Instance&)>& change) {
    {
      std::lock_guard lock(m_mutex);
      change(m_instances[static_cast<size_t>(id)]);
    }
    m_changed.notify_all();
  }
  std::vector<Instance> Instances() const {
    std::lock_guard lock(m_mutex);
    return m_instances;
  }
  std::vector<Instance> WithLabel(const std::string& label) const {
    std::vector<Instance> found;
    for (const Instance& instance : Instances()) {
      if (instance.label == label) found.push_back(instance);
    }
    return found;
  }
  // Waits (up to 10 s) until `done` holds for the instances; returns whether it did.
  bool WaitFor(const std::function<bool(const std::vector<Instance>&)>& done) {
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return done(m_instances); });
  }
  int FailInitsLeft(const std::string& label) {
    std::lock_guard lock(m_mutex);
    int& left = m_failInits[label];
    return left > 0 ? left-- : 0;
  }
  void SetFailInits(const std::string& label, int count) {
    std::lock_guard lock(m_mutex);
    m_failInits[label] = count;
  }

 private:
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<Instance> m_instances;
  std::map<std::string, int> m_failInits;
};

// "KoradTest.Probe": takes any property but "Bogus"; methods Init, Execute, Fail (raises)
// and WaitWhileRunning (returns once the application status is no longer 4).
class Probe final : public Object {
 public:
  static constexpr std::string_view kClassId = "KoradTest.Probe";
  explicit Probe(std::shared_ptr<ProbeBoard> board) : m_board(std::move(board)), m_id(m_board->NewInstance()) {}
  ~Probe() override {
    m_board->Change(m_id, [](ProbeBoard::Instance& i) { i.destroyed = true; });
  }
  std::string_view ClassId() const noexcept override { return kClassId; }

  void LetProperty(std::string_view name, const Value& value) override {
    if (name == "Bogus") RaiseNoSuchMember(ClassName(), name);
    m_board->Change(m_id, [&](ProbeBoard::Instance& i) {
      if (name == "Label") i.label = value.ToText();
      i.properties.emplace_back(std::string(name), value.ToText());
    });
    if (name == "Label") m_label = value.ToText();
  }
  Value CallMethod(std::string_view name) override {
    if (name == "Init") {
      if (m_board->FailInitsLeft(m_label) > 0) throw Error(kLibraryError, "Probe", "not ready yet");
      m_board->Change(m_id, [](ProbeBoard::Instance& i) { ++i.inits; });
    } else if (name == "Execute") {
      m_board->Change(m_id, [](ProbeBoard::Instance& i) { ++i.executes; });
    } else if (name == "Fail") {
      m_board->Change(m_id, [](ProbeBoard::Instance& i) { ++i.executes; });
      throw Error(kLibraryError, "Probe", "always fails");
    } else if (name == "WaitWhileRunning") {
      m_board->Change(m_id, [](ProbeBoard::Instance& i) { ++i.executes; });
      Application& application = Platform::Current().GetApplication();
      while (application.Status() == kServiceRunning) std::this_thread::sleep_for(std::chrono::milliseconds(2));
      const int32_t status = application.Status();
      m_board->Change(m_id, [status](ProbeBoard::Instance& i) { i.statusSeenAtEnd = status; });
    } else {
      RaiseNoSuchMember(ClassName(), name);
    }
    return Value();
  }

 private:
  const std::shared_ptr<ProbeBoard> m_board;
  const int m_id;
  std::string m_label;
};

// A temporary home whose application is a RecordingHostApplication, a class registry of
// its own holding the probe, and a service file the test writes.
class AgentHomeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    Platform::Current().SetApplication(m_app);
    m_registry.Register(Probe::kClassId, [board = m_board] { return std::make_shared<Probe>(board); });
  }
  void TearDown() override { Platform::Current().SetApplication(nullptr); }

  void WriteServiceFile(const std::string& text) {
    korad::testing::WriteWholeFile(m_home / "BIN/MvAgent.ini", text);
  }
  // A probe section: "[name]" with the probe's class id, a label equal to the name and `extra` lines.
  static std::string ProbeSection(const std::string& name, const std::string& extra) {
    return "[" + name + "]\nClassID=KoradTest.Probe\nLabel=" + name + "\n" + extra;
  }

  TempHome m_home;
  std::shared_ptr<RecordingHostApplication> m_app = std::make_shared<RecordingHostApplication>(m_home.Path());
  std::shared_ptr<ProbeBoard> m_board = std::make_shared<ProbeBoard>();
  ClassRegistry m_registry;
};

}  // namespace korad::agent::testing
