// What the process learns from the machine it runs on rather than from its files: its
// environment variables, the path of its program, random bytes and the names the system
// locale gives the days of the week. Behind one interface so that tests set them without
// changing the process.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace korad {

struct WeekdayNames {
  std::array<std::string, 7> full;         // [0] is Sunday
  std::array<std::string, 7> abbreviated;  // likewise
  int firstDay = 1;                        // the locale's first day of the week, 1 = Sunday
};

class Environment {
 public:
  virtual ~Environment() = default;

  // The value of an environment variable; nullopt when it isn't set.
  virtual std::optional<std::string> Variable(std::string_view name) = 0;
  // The absolute path of the running program; empty when it can't be told.
  virtual std::string ProgramPath() = 0;
  // Fills `bytes` from a source fit for keys and nonces; raises the library's error when
  // none can be drawn.
  virtual void RandomBytes(std::span<unsigned char> bytes) = 0;
  // The names of the locale the process was started with (LC_TIME); the C names when
  // that locale isn't installed. They stay as they are for the life of the environment.
  virtual const WeekdayNames& Weekdays() = 0;
};

// The process's own environment.
std::shared_ptr<Environment> MakeLinuxEnvironment();

}  // namespace korad
