#include <gtest/gtest.h>

#include <filesystem>

#include "platform/application.h"
#include "platform/platform.h"
#include "support/fake_environment.h"

namespace korad {
namespace {

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
  testing::ScopedEnvironment environment;
  environment->variables["KORAD_HOME"] = "/opt/korad/";
  EXPECT_EQ(DefaultHomeDirectory(), "/opt/korad");
  const std::string cwd = std::filesystem::current_path().string();
  environment->variables["KORAD_HOME"] = "agent";
  EXPECT_EQ(DefaultHomeDirectory(), cwd + "/agent");

  // Blank or unset: the folder above the program's, when the program runs from a BIN.
  environment->variables["KORAD_HOME"] = " \t";
  environment->programPath = "/srv/agent/bin/koradagent";
  EXPECT_EQ(DefaultHomeDirectory(), "/srv/agent");
  environment->variables.clear();
  environment->programPath = "/usr/local/sbin/koradagent";
  EXPECT_EQ(DefaultHomeDirectory(), cwd);
}

}  // namespace
}  // namespace korad
