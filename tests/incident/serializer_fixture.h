// A temporary agent home for the serializers: a fake application whose home it is, a
// fake clock two hours east of UTC (so a local/UTC mix-up shows) and a recording log
// manager. Everything is put back when the test ends.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "contracts/ole_date.h"
#include "contracts/value.h"
#include "platform/platform.h"
#include "support/fake_clock.h"
#include "support/recording_log.h"
#include "support/temp_folder.h"

namespace korad::testing {

// A Date value at `expected`, to the millisecond: conversions through the clock may move
// the last bit of the day count.
inline ::testing::AssertionResult IsDateAt(const Value& value, OleDate expected) {
  if (value.Kind() != ValueKind::Date) return ::testing::AssertionFailure() << "a " << value.TypeName();
  if (value.ToDate().ToUnixMillis() != expected.ToUnixMillis()) {
    return ::testing::AssertionFailure() << FormatDate(value.ToDate()) << " instead of " << FormatDate(expected);
  }
  return ::testing::AssertionSuccess();
}

class SerializerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(m_home / "BIN");
    m_clock->SetUtcOffsetMinutes(120);
    Platform::Current().SetApplication(m_app);
    Platform::Current().SetClock(m_clock);
  }
  void TearDown() override {
    Platform::Current().SetFileSystem(nullptr);
    Platform::Current().SetClock(nullptr);
    Platform::Current().SetApplication(nullptr);
  }

  std::string SerializePath(const std::string& name) const { return m_home / ("Serialize/" + name); }
  static std::string ReadAll(const std::string& path) { return ReadBytes(path); }
  // A day in March 2024 at the hour given, minute 30.
  static OleDate At(int hour) { return *OleDate::FromCivil(2024, 3, 5, hour, 30, 0); }

  TempHome m_home;
  std::shared_ptr<FakeApplication> m_app = std::make_shared<FakeApplication>(m_home.Path());
  std::shared_ptr<FakeClock> m_clock = std::make_shared<FakeClock>();
  std::shared_ptr<RecordingLogManager> m_log = std::make_shared<RecordingLogManager>();
};

}  // namespace korad::testing
