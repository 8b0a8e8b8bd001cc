// Sets the process's time zone (TZ) for a scope and puts the old one back.
#pragma once

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

namespace korad::testing {

class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* old = getenv("TZ")) m_old = old;
    setenv("TZ", zone, 1);
    tzset();
  }
  ~ScopedTimeZone() {
    if (m_old) {
      setenv("TZ", m_old->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> m_old;
};

}  // namespace korad::testing
