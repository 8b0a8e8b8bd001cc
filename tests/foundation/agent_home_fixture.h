// A temporary agent home with the platform pointed at it: a fake application whose home
// it is, the agent's own encrypter and registry under it, a fake clock and a fake
// environment. Everything is put back when the test ends.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "contracts/ole_date.h"
#include "platform/encrypter.h"
#include "platform/platform.h"
#include "platform/registry.h"
#include "support/fake_clock.h"
#include "support/fake_environment.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::testing {

class AgentHomeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    Platform& platform = Platform::Current();
    platform.SetApplication(m_app);
    platform.SetEncrypter(MakeAesEncrypter(m_home / "BIN/agent.key"));
    platform.SetRegistry(MakeFileRegistry(m_home / "Registry"));
    platform.SetClock(m_clock);
  }
  void TearDown() override {
    Platform& platform = Platform::Current();
    platform.SetClock(nullptr);
    platform.SetRegistry(nullptr);
    platform.SetEncrypter(nullptr);
    platform.SetApplication(nullptr);
  }

  // Writes `content` to home/relative and returns the full path.
  std::string WriteFile(const std::string& relative, const std::string& content) {
    const std::string path = m_home / relative;
    WriteWholeFile(path, content);
    return path;
  }
  std::string ReadFile(const std::string& relative) {
    std::string text;
    for (const std::string& line : ReadLines(m_home / relative)) text += line + "\n";
    return text;
  }
  // Fixes the local time, in a zone two hours east of UTC so a mix-up of local and UTC shows.
  void SetLocalNow(int year, int month, int day, int hour = 12) {
    m_clock->SetUtcOffsetMinutes(120);
    m_clock->SetLocalNow(*OleDate::FromCivil(year, month, day, hour));
  }
  Encrypter& Cipher() { return Platform::Current().GetEncrypter(); }

  TempHome m_home;
  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>(m_home.Path());
  std::shared_ptr<FakeClock> m_clock = std::make_shared<FakeClock>();
  ScopedEnvironment m_environment;
  std::shared_ptr<RecordingLogManager> m_log = std::make_shared<RecordingLogManager>();
};

}  // namespace korad::testing
