#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "platform/application.h"
#include "platform/platform.h"

namespace korad {
namespace {

class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : m_name(name) {
    if (const char* old = getenv(name)) m_old = old;
    if (value) {
      setenv(name, value, 1);
    } else {
      unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (m_old) {
      setenv(m_name, m_old->c_str(), 1);
    } else {
      unsetenv(m_name);
    }
  }

 private:
  const char* m_name;
  std::optional<std::string> m_old;
};

TEST(HostApplication, StatusAndPaths) {
  auto app = MakeHostApplication("/srv/agent//");
  EXPECT_EQ(app->Status(), kServiceRunning);
  app->SetStatus(1);
  EXPECT_EQ(app->Status(), 1);
  EXPECT_EQ(app->ServicePath(), "/srv/agent/BIN");
  EXPECT_EQ(app->Path(), "/srv/agent/BIN");

  Platform::Current().SetApplication(app);
  EXPECT_EQ(Platform::Current().HomeDirectory(), "/srv/agent");
  Platform::Current().SetApplication(nullptr);
}

TEST(HostApplication, DefaultHomeDirectory) {
  {
    ScopedEnv home("KORAD_HOME", "/opt/korad/");
    EXPECT_EQ(DefaultHomeDirectory(), "/opt/korad");
  }
  const std::string cwd = std::filesystem::current_path().string();
  {
    ScopedEnv home("KORAD_HOME", "agent");
    EXPECT_EQ(DefaultHomeDirectory(), cwd + "/agent");
  }
  ScopedEnv home("KORAD_HOME", "  ");
  const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (strcasecmp(program.filename().c_str(), "bin") == 0) {
    EXPECT_EQ(DefaultHomeDirectory(), program.parent_path().string());
  } else {
    EXPECT_EQ(DefaultHomeDirectory(), cwd);
  }
}

}  // namespace
}  // namespace korad
