// The Linux actors as the action manager drives them, and each actor alone on fakes: the
// command actor's allow-list and its real runs, the service actor's choice of manager and
// its refusal of unsafe names, the process actor's signals.
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "action/action_fixture.h"
#include "foundation/module_config_reader.h"
#include "korad_linux/actors.h"
#include "support/fake_environment.h"
#include "support/fake_process_launcher.h"
#include "support/fake_system_facts.h"
#include "support/memory_file_system.h"

namespace korad {
namespace {

using Launches = std::vector<std::vector<std::string>>;
constexpr std::string_view kNoRetry = ActionManager::kNoRetry;

bool EndsWithNoRetry(const std::string& text) { return text.ends_with(kNoRetry); }

// A whole run through an ActionManager on a temporary agent home.
class ActorRunTest : public testing::ActionTest {
 protected:
  static void SetUpTestSuite() {
    ActionTest::SetUpTestSuite();
    RegisterLinuxActors(ClassRegistry::Global());
  }
  // The response, or "error: " + the description.
  std::string Perform(std::string_view actorId, const std::vector<testing::Entry>& message) {
    auto manager = MakeManager();
    manager->SetMyActorID(actorId);
    try {
      return manager->PerformAction(testing::Message(message));
    } catch (const Error& e) {
      return "error: " + e.Description();
    }
  }
  std::shared_ptr<testing::FakeProcessLauncher> InstallFakeLauncher() {
    auto launcher = std::make_shared<testing::FakeProcessLauncher>();
    Platform::Current().SetProcessLauncher(launcher);
    return launcher;
  }
  void TearDown() override {
    Platform::Current().SetProcessLauncher(nullptr);
    ActionTest::TearDown();
  }
};

TEST_F(ActorRunTest, CommandRunsOnlyListedProgramsAndFailsAtItsTimeout) {
  WriteIni("[TestActor]\nAllowedPrograms=/bin/echo, /bin/sleep\nTimeoutSeconds=1\n");
  EXPECT_EQ(Perform(CommandActor::kClassId, {{"ACTION.Command", Value("/bin/echo hi")}}), "exit=0\nhi");

  // Killed at the limit, and worth another try.
  const std::string slept = Perform(CommandActor::kClassId, {{"ACTION.Command", Value("/bin/sleep 30")}});
  EXPECT_NE(slept.find("was killed after 1 seconds"), std::string::npos) << slept;
  EXPECT_FALSE(EndsWithNoRetry(slept)) << slept;

  auto launcher = InstallFakeLauncher();
  for (const char* outside : {"/bin/sh -c 'echo hi'", "/bin/../bin/sh", "sh", "/bin/no-such-program", "bin/echo"}) {
    const std::string refused = Perform(CommandActor::kClassId, {{"ACTION.Command", Value(outside)}});
    EXPECT_TRUE(EndsWithNoRetry(refused)) << outside << ": " << refused;
  }
  const std::string missing = Perform(CommandActor::kClassId, {});
  EXPECT_NE(missing.find("Could not find 'ACTION.Command'"), std::string::npos) << missing;
  EXPECT_TRUE(launcher->Launched().empty());

  // A failing exit is retried; a program that can't be started is not.
  launcher->outcome.exitCode = 3;
  launcher->outcome.output = "one\ntwo\n";
  launcher->outcome.errorOutput = "bad\n";
  const std::string failed = Perform(CommandActor::kClassId, {{"ACTION.Command", Value("/bin/echo 'a b'")}});
  EXPECT_TRUE(failed.ends_with("failed: exit=3\none\ntwo\nbad")) << failed;
  launcher->spawnFails = kErrPermissionDenied;
  EXPECT_TRUE(EndsWithNoRetry(Perform(CommandActor::kClassId, {{"ACTION.Command", Value("/bin/echo")}})));
  const std::string echo = std::filesystem::canonical("/bin/echo").string();
  EXPECT_EQ(launcher->Launched(), (Launches{{echo, "a b"}, {echo}}));

  WriteIni("[TestActor]\nAllowedPrograms=bin/\n");
  const std::string relative = Perform(CommandActor::kClassId, {{"ACTION.Command", Value("/bin/echo")}});
  EXPECT_NE(relative.find("AllowedPrograms = 'bin/' is not an absolute path"), std::string::npos) << relative;
  EXPECT_TRUE(EndsWithNoRetry(relative));
}

TEST_F(ActorRunTest, AListedFolderHoldsNoWayOutByDotsOrLinks) {
  testing::TempFolder root;
  std::filesystem::create_directories(root / "tools/sub");
  std::filesystem::create_directories(root / "outside");
  testing::WriteBytes(root / "tools/sub/check", "");
  testing::WriteBytes(root / "outside/x", "");
  std::filesystem::create_symlink(root / "outside/x", root / "tools/link");
  std::filesystem::create_symlink(root / "tools/sub/check", root / "outside/in");
  WriteIni("[TestActor]\nAllowedPrograms=" + root.Path("tools/") + "," + root.Path("outside/in") + "\n");
  auto launcher = InstallFakeLauncher();
  for (const char* escape : {"tools/../outside/x", "tools/link", "tools/sub/../../outside/x"}) {
    const std::string refused = Perform(CommandActor::kClassId, {{"ACTION.Command", Value(root / escape)}});
    EXPECT_NE(refused.find("is not among the AllowedPrograms" + std::string(kNoRetry)), std::string::npos) << refused;
  }
  EXPECT_TRUE(launcher->Launched().empty());
  // Inside, and a listed link to what is inside: the resolved path is what starts.
  const std::string check = std::filesystem::canonical(root / "tools/sub/check").string();
  EXPECT_EQ(Perform(CommandActor::kClassId, {{"ACTION.Command", Value(root / "tools/./sub/check -v")}}), "exit=0");
  EXPECT_EQ(Perform(CommandActor::kClassId, {{"ACTION.Command", Value(root / "outside/in")}}), "exit=0");
  EXPECT_EQ(launcher->Launched(), (Launches{{check, "-v"}, {check}}));
}

// The actors alone, on a file system, environment, launcher and process table of the test's.
class ActorFakesTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testing::RegisterActionTestClasses(); }
  void SetUp() override { Platform::Current().SetProcessLauncher(launcher); }
  void TearDown() override {
    if (action) action->Finalize();  // the action and its parts point at each other
    Platform::Current().SetProcessLauncher(nullptr);
  }

  template <class A>
  std::string Perform(const std::vector<std::pair<std::string, std::string>>& attributes) {
    auto actor = std::make_shared<A>();
    auto configRules = std::make_shared<ValidationRules>();
    auto attrRules = std::make_shared<ValidationRules>();
    actor->SetValidationRules(configRules, attrRules);
    auto configurations = std::make_shared<Configurations>();
    std::string message;
    ValidateConfigurations(*configurations, *configRules, message);
    if (action) action->Finalize();
    action = Action::Create();
    for (const auto& [key, value] : attributes) action->GetAttributes()->Add(key, Value(value));
    LogManagerRef logManager;
    try {
      actor->PerformAction(action, configurations, logManager);
      return action->Response();
    } catch (const Error& e) {
      return "error: " + e.Description();
    }
  }
  void AddFile(const std::string& path) {
    files->CreateDirectories(path.substr(0, path.rfind('/')));
    files->WriteFileAtomic(path, "");
  }

  std::shared_ptr<testing::FakeProcessLauncher> launcher = std::make_shared<testing::FakeProcessLauncher>();
  testing::ScopedFileSystem<> files;
  testing::ScopedEnvironment environment;
  testing::ScopedSystemFacts facts;
  std::shared_ptr<Action> action;
};

TEST_F(ActorFakesTest, ServiceGoesThroughSystemctlServiceOrNeither) {
  environment->variables["PATH"] = "relative:/usr/sbin:/usr/bin";
  EXPECT_EQ(Perform<ServiceActor>({{"Service", "nginx"}}),
            "error: No service manager on this machine" + std::string(kNoRetry));
  AddFile("/relative/service");  // a relative folder of PATH is never searched
  AddFile("/usr/sbin/service");
  AddFile("/usr/bin/systemctl");
  // systemctl without a running systemd: the service program.
  EXPECT_EQ(Perform<ServiceActor>({{"Service", "nginx"}, {"Operation", " Reload "}}), "exit=0");
  files->CreateDirectories("/run/systemd/system");
  launcher->outcome.output = "active\n";
  EXPECT_EQ(Perform<ServiceActor>({{"Service", "web@1.service"}}), "exit=0\nactive\nis-active=active");
  const std::string stopped = Perform<ServiceActor>({{"Service", "nginx"}, {"Operation", "stop"}});
  EXPECT_EQ(stopped, "error: KoradLinux.ServiceActor: nginx is active after stop");
  EXPECT_EQ(launcher->Launched(), (Launches{{"/usr/sbin/service", "nginx", "reload"},
                                            {"/usr/bin/systemctl", "restart", "web@1.service"},
                                            {"/usr/bin/systemctl", "is-active", "web@1.service"},
                                            {"/usr/bin/systemctl", "stop", "nginx"},
                                            {"/usr/bin/systemctl", "is-active", "nginx"}}));

  for (const char* unsafe : {"x;rm -rf /", "--root=/tmp", "a b", "$(id)"}) {
    EXPECT_TRUE(EndsWithNoRetry(Perform<ServiceActor>({{"Service", unsafe}}))) << unsafe;
  }
  EXPECT_EQ(launcher->Launched().size(), 5u);
}

TEST_F(ActorFakesTest, ProcessSignalsWhatGoesByTheNameButNeverTheAgent) {
  const int32_t self = static_cast<int32_t>(::getpid());
  facts->processes = {{10, "nginx", "nginx"}, {11, "nginx", "nginx"}, {12, "bash", "bash"}, {self, "nginx", "nginx"}};
  launcher->endedPids = {11};
  EXPECT_EQ(Perform<ProcessActor>({{"ProcessName", "nginx"}}), "signalled=1");
  EXPECT_EQ(Perform<ProcessActor>({{"ProcessName", "bash"}, {"Signal", "kill"}}), "signalled=1");
  launcher->deniedPids = {10};
  const std::string denied = Perform<ProcessActor>({{"ProcessName", "nginx"}, {"Signal", "HUP"}});
  EXPECT_TRUE(denied.starts_with("error: KoradLinux.ProcessActor: could not signal 10 (")) << denied;
  EXPECT_TRUE(EndsWithNoRetry(denied));
  EXPECT_EQ(action->Response(), "signalled=0");
  EXPECT_TRUE(EndsWithNoRetry(Perform<ProcessActor>({{"ProcessName", "nginx"}, {"Signal", "STOP"}})));
  EXPECT_EQ(launcher->signals, (std::vector<std::pair<int32_t, int32_t>>{
                                   {10, SIGTERM}, {11, SIGTERM}, {12, SIGKILL}, {10, SIGHUP}, {11, SIGHUP}}));
}

}  // namespace
}  // namespace korad
