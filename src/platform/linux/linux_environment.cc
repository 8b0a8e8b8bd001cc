// The process's environment on Linux: getenv, /proc/self/exe, OpenSSL's random source and
// the LC_TIME locale of the environment.
#include <langinfo.h>
#include <locale.h>
#include <openssl/rand.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <mutex>

#include "contracts/error.h"
#include "platform/environment.h"

namespace korad {
namespace {

// Day of the week (0 = Sunday) of a date written as the number YYYYMMDD.
int DayOfWeekOf(unsigned int yyyymmdd) {
  int y = static_cast<int>(yyyymmdd / 10000);
  int m = static_cast<int>(yyyymmdd / 100 % 100);
  const int d = static_cast<int>(yyyymmdd % 100);
  static constexpr int kOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  if (m < 1 || m > 12) return 0;
  if (m < 3) y -= 1;
  return (y + y / 4 - y / 100 + y / 400 + kOffsets[m - 1] + d) % 7;
}

// newlocale/nl_langinfo_l on a private locale object are safe from any thread, unlike
// setlocale.
WeekdayNames LoadWeekdayNames() {
  WeekdayNames names;
  locale_t locale = newlocale(LC_TIME_MASK, "", static_cast<locale_t>(nullptr));
  if (locale == static_cast<locale_t>(nullptr)) {
    // A locale named in the environment but not installed: the C names.
    locale = newlocale(LC_TIME_MASK, "C", static_cast<locale_t>(nullptr));
  }
  if (locale == static_cast<locale_t>(nullptr)) {
    names.full = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    names.abbreviated = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    return names;
  }
  for (int i = 0; i < 7; ++i) {
    names.full[i] = nl_langinfo_l(static_cast<nl_item>(DAY_1 + i), locale);
    names.abbreviated[i] = nl_langinfo_l(static_cast<nl_item>(ABDAY_1 + i), locale);
  }
  // glibc gives the first weekday relative to a reference date of the locale's week.
  union {
    unsigned int word;
    const char* text;
  } reference{};
  reference.text = nl_langinfo_l(_NL_TIME_WEEK_1STDAY, locale);
  const int firstWeekday = nl_langinfo_l(_NL_TIME_FIRST_WEEKDAY, locale)[0];
  if (firstWeekday >= 1 && firstWeekday <= 7) {
    names.firstDay = (DayOfWeekOf(reference.word) + firstWeekday - 1) % 7 + 1;
  }
  freelocale(locale);
  return names;
}

class LinuxEnvironment final : public Environment {
 public:
  std::optional<std::string> Variable(std::string_view name) override {
    const char* value = std::getenv(std::string(name).c_str());
    if (value == nullptr) return std::nullopt;
    return std::string(value);
  }

  std::string ProgramPath() override {
    char buffer[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    if (n <= 0 || static_cast<size_t>(n) >= sizeof buffer) return {};
    return std::string(buffer, static_cast<size_t>(n));
  }

  void RandomBytes(std::span<unsigned char> bytes) override {
    if (bytes.empty()) return;
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) RaiseLibraryError("Could not draw random bytes");
  }

  // Read once: the locale of a running agent doesn't change.
  const WeekdayNames& Weekdays() override {
    std::call_once(m_weekdaysLoaded, [this] { m_weekdays = LoadWeekdayNames(); });
    return m_weekdays;
  }

 private:
  std::once_flag m_weekdaysLoaded;
  WeekdayNames m_weekdays;
};

}  // namespace

std::shared_ptr<Environment> MakeLinuxEnvironment() { return std::make_shared<LinuxEnvironment>(); }

}  // namespace korad
