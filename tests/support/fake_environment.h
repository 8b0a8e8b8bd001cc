// An environment that a test sets: variables in a map of its own (the process's are never
// read or changed), a program path, the C locale's weekday names unless told otherwise,
// and random bytes that count up from `nextRandom`, so a test can tell them. Install with
// ScopedEnvironment.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/environment.h"
#include "platform/platform.h"

namespace korad::testing {

class FakeEnvironment final : public Environment {
 public:
  std::map<std::string, std::string, std::less<>> variables;
  std::string programPath = "/opt/korad/BIN/koradagent";
  WeekdayNames weekdays{{"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"},
                        {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"},
                        1};
  unsigned char nextRandom = 0;

  std::optional<std::string> Variable(std::string_view name) override {
    const auto it = variables.find(name);
    if (it == variables.end()) return std::nullopt;
    return it->second;
  }
  std::string ProgramPath() override { return programPath; }
  void RandomBytes(std::span<unsigned char> bytes) override {
    for (unsigned char& byte : bytes) byte = nextRandom++;
  }
  const WeekdayNames& Weekdays() override { return weekdays; }
};

// Installs a fake environment as the platform's for the life of a scope; the next use
// after it ends makes the process's again.
class ScopedEnvironment {
 public:
  explicit ScopedEnvironment(std::shared_ptr<FakeEnvironment> environment = std::make_shared<FakeEnvironment>())
      : m_environment(std::move(environment)) {
    Platform::Current().SetEnvironment(m_environment);
  }
  ~ScopedEnvironment() { Platform::Current().SetEnvironment(nullptr); }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
  FakeEnvironment& operator*() const { return *m_environment; }
  FakeEnvironment* operator->() const { return m_environment.get(); }

 private:
  std::shared_ptr<FakeEnvironment> m_environment;
};

}  // namespace korad::testing
