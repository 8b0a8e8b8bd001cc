// Programs started from command lines: how a line splits into arguments, and what a
// waited-for run brings back (output, exit code, the time limit, starting failures).
#include "platform/process.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/error_number.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::TempFolder;
using Args = std::vector<std::string>;

// Running, as opposed to gone or a zombie waiting for a parent that may never reap it.
bool IsRunning(pid_t pid) {
  const std::string stat = testing::ReadBytes("/proc/" + std::to_string(pid) + "/stat");
  const size_t close = stat.rfind(')');
  return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z';
}

TEST(SplitCommandLine, BlanksSeparateAndQuotesGroup) {
  EXPECT_EQ(SplitCommandLine("  /bin/check  -w 10\t-c  20 "), (Args{"/bin/check", "-w", "10", "-c", "20"}));
  EXPECT_EQ(SplitCommandLine(R"(prog "a b" c"d e"f "")"), (Args{"prog", "a b", "cd ef", ""}));
  EXPECT_EQ(SplitCommandLine(""), Args{});
  EXPECT_EQ(SplitCommandLine(" \t "), Args{});
}

TEST(SplitCommandLine, BackslashesCountOnlyBeforeAQuoteMark) {
  // 2n backslashes + quote: n backslashes, the quote acts; 2n+1: n backslashes and a quote.
  EXPECT_EQ(SplitCommandLine(R"(p a\\b a\"b "a\\" "a\\\"b")"), (Args{"p", R"(a\\b)", R"(a"b)", R"(a\)", R"(a\"b)"}));
  // Inside quotes "" is one quote mark and the quoted part goes on.
  EXPECT_EQ(SplitCommandLine(R"(p "say ""hi"" now")"), (Args{"p", R"(say "hi" now)"}));
}

TEST(SplitCommandLine, TheProgramNameTakesNoEscapes) {
  EXPECT_EQ(SplitCommandLine(R"("C:\Program Files\x.exe" -v)"), (Args{R"(C:\Program Files\x.exe)", "-v"}));
  EXPECT_EQ(SplitCommandLine(R"(C:\tools\a\" b)"), (Args{R"(C:\tools\a\")", "b"}));
  // The closing quote ends the name even when no blank follows.
  EXPECT_EQ(SplitCommandLine(R"("/bin/x"-v)"), (Args{"/bin/x", "-v"}));
}

class ProcessRun : public ::testing::Test {
 protected:
  // A shell script in the test's folder, executable.
  std::string Script(const std::string& name, const std::string& body) {
    const std::string path = folder / name;
    testing::WriteBytes(path, "#!/bin/sh\n" + body);
    ::chmod(path.c_str(), 0755);
    return path;
  }

  TempFolder folder;
  std::shared_ptr<ProcessLauncher> launcher = MakePosixProcessLauncher();
};

TEST_F(ProcessRun, OutputBothStreamsTheExitCodeAndASignalComeBackAndPathIsSearched) {
  const std::string script = Script("check", "echo \"line one | a=1\"\necho second\necho oops >&2\nexit 2\n");
  ProcessOutcome outcome = launcher->Run(SplitCommandLine("\"" + script + "\" x"), {});
  EXPECT_EQ(outcome.exitCode, 2);
  EXPECT_EQ(outcome.signal, 0);
  EXPECT_FALSE(outcome.timedOut);
  EXPECT_EQ(outcome.output, "line one | a=1\nsecond\n");
  EXPECT_EQ(outcome.errorOutput, "oops\n");
  EXPECT_FALSE(outcome.outputTruncated);

  outcome = launcher->Run(SplitCommandLine(R"(printf "[%s]" "a b" c\"d "")"), {});
  EXPECT_EQ(outcome.exitCode, 0);
  EXPECT_EQ(outcome.output, R"([a b][c"d][])") << "arguments arrive as split";

  outcome = launcher->Run({Script("term", "kill -TERM $$\n")}, {});
  EXPECT_EQ(outcome.signal, SIGTERM);
  EXPECT_EQ(outcome.exitCode, 128 + SIGTERM);
  EXPECT_FALSE(outcome.timedOut);
}

TEST_F(ProcessRun, OutputBeyondTheLimitIsDrainedAndDropped) {
  // 1 MB is far more than a pipe holds: the child would block if it weren't read.
  const std::string script = Script("talk", "head -c 1048576 /dev/zero | tr '\\0' x\nexit 1\n");
  ProcessRunOptions options;
  options.outputLimit = 100;
  options.timeoutMilliseconds = 20000;
  const ProcessOutcome outcome = launcher->Run({script}, options);
  EXPECT_EQ(outcome.exitCode, 1);
  EXPECT_FALSE(outcome.timedOut);
  EXPECT_EQ(outcome.output, std::string(100, 'x'));
  EXPECT_TRUE(outcome.outputTruncated);
}

TEST_F(ProcessRun, TheTimeLimitKillsTheProgramAndWhatItStarted) {
  // The script's own child would keep the pipe open if only the script were killed.
  const std::string pidFile = folder / "grandchild.pid";
  const std::string script = Script("hang", "echo started\nsleep 30 &\necho $! > " + pidFile + "\nwait\n");
  ProcessRunOptions options;
  options.timeoutMilliseconds = 300;
  const auto start = std::chrono::steady_clock::now();
  const ProcessOutcome outcome = launcher->Run({script}, options);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_TRUE(outcome.timedOut);
  EXPECT_EQ(outcome.signal, SIGKILL);
  EXPECT_EQ(outcome.exitCode, 128 + SIGKILL);
  EXPECT_EQ(outcome.output, "started\n");
  EXPECT_LT(took, std::chrono::seconds(5));
  const std::string pidText = testing::ReadBytes(pidFile);
  ASSERT_FALSE(pidText.empty());
  const pid_t grandchild = std::stoi(pidText);
  // Killed with the group; the kill takes a moment to land.
  bool gone = false;
  for (int i = 0; i < 200 && !gone; ++i) {
    gone = !IsRunning(grandchild);
    if (!gone) ::usleep(10000);
  }
  EXPECT_TRUE(gone);
}

TEST_F(ProcessRun, AMissingProgramRaisesAndAStartedOneRunsOnWithoutTheCaller) {
  EXPECT_EQ(testing::NumberOf([&] { launcher->Run({folder / "absent"}, {}); }), kErrFileNotFound);
  const std::string plain = folder / "plain";
  testing::WriteBytes(plain, "#!/bin/sh\n");
  EXPECT_EQ(testing::NumberOf([&] { launcher->Run({plain}, {}); }), kErrPermissionDenied);
  EXPECT_EQ(testing::NumberOf([&] { launcher->Run({}, {}); }), kErrInvalidCall);
  EXPECT_EQ(testing::NumberOf([&] { launcher->Start({folder / "absent"}); }), kErrFileNotFound);

  const std::string marker = folder / "ran";
  const int32_t pid = launcher->Start({Script("touch", "echo noise\ntouch " + marker + "\n")});
  EXPECT_GT(pid, 0);
  bool ran = false;
  for (int i = 0; i < 300 && !ran; ++i) {
    ran = ::access(marker.c_str(), F_OK) == 0;
    if (!ran) ::usleep(10000);
  }
  EXPECT_TRUE(ran);
  // The next call collects the finished child: no zombie stays behind.
  for (int i = 0; i < 300; ++i) {
    launcher->Run({"true"}, {});
    if (::kill(pid, 0) != 0) break;
    ::usleep(10000);
  }
  EXPECT_NE(::kill(pid, 0), 0);
}

TEST_F(ProcessRun, ASignalReachesOneLiveProcessAndNeverAGroup) {
  EXPECT_EQ(testing::NumberOf([&] { launcher->Signal(0, SIGTERM); }), kErrInvalidCall);
  EXPECT_EQ(testing::NumberOf([&] { launcher->Signal(-1, SIGTERM); }), kErrInvalidCall);
  const int32_t pid = launcher->Start({"sleep", "30"});
  EXPECT_TRUE(launcher->Signal(pid, SIGTERM));
  // Once collected it is gone, and a signal finds no one.
  bool ended = false;
  for (int i = 0; i < 300 && !ended; ++i) {
    launcher->Run({"true"}, {});
    ended = !launcher->Signal(pid, 0);
    if (!ended) ::usleep(10000);
  }
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace korad
