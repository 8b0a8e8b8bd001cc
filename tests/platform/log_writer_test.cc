// The agent's log files as an operator finds them under <home>/LogFiles.
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <latch>
#include <thread>

#include "platform/application.h"
#include "platform/linux/file_log_writer.h"
#include "support/fake_clock.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::ReadLines;
using testing::ScopedPlatformClock;
using testing::TempHome;
using testing::WriteWholeFile;

class LogWriterTest : public ::testing::Test {
 protected:
  LogWriterTest() { m_clock->SetUtcNow(*OleDate::FromCivil(2024, 1, 15, 12, 0, 0, 250)); }

  void WriteLogging(const std::string& keys) {
    WriteWholeFile(m_home / "BIN/MvAgent.ini", "[Logging]\n" + keys);
  }
  std::string LogPath(const std::string& name) const { return m_home / ("LogFiles/" + name); }
  std::shared_ptr<HostApplication> App() {
    if (!m_app) m_app = MakeHostApplication(m_home.Path());
    return m_app;
  }
  std::vector<std::string> AgentLines() const { return ReadLines(LogPath("MvAgent.log")); }

  TempHome m_home;
  ScopedPlatformClock m_clock;
  std::shared_ptr<HostApplication> m_app;
};

TEST_F(LogWriterTest, LinesLandWithTimeLevelAndCategory) {
  App()->Logger()->WriteLine("Pass started", "MonitorManager", 6, 0);
  App()->Logger()->WriteLine("Detail", "MonitorManager", 7, 0);  // above the default level 6
  App()->Logger()->WriteInfo("Agent started", "Host", 6, 0);
  App()->Logger()->WriteLine("two\r\nlines", "DevSvcErr", 2, 0);
  App()->Logger()->WriteEvent("Service stopped", "KoradAgent");

  EXPECT_EQ(AgentLines(), (std::vector<std::string>{
                              "2024-01-15 12:00:00.250Z 6 [MonitorManager] Pass started",
                              "2024-01-15 12:00:00.250Z 6 [Host] Agent started",
                              "2024-01-15 12:00:00.250Z 2 [DevSvcErr] two  lines",
                          }));
  EXPECT_EQ(ReadLines(LogPath("Events.log")),
            std::vector<std::string>{"2024-01-15 12:00:00.250Z [KoradAgent] Service stopped"});
  EXPECT_EQ(App()->Logger(), App()->Logger());  // one writer, fetched per line
}

TEST_F(LogWriterTest, LevelFromTheIniAndItsChanges) {
  WriteLogging("Level=3\n");
  auto write = [&](int32_t level) {
    App()->Logger()->WriteLine("level " + std::to_string(level), "Test", level, 0);
  };
  for (int32_t level = -1; level <= 7; ++level) write(level);
  std::vector<std::string> expected;
  for (int32_t level = -1; level <= 3; ++level) {
    expected.push_back("2024-01-15 12:00:00.250Z " + std::to_string(level) + " [Test] level " +
                       std::to_string(level));
  }
  EXPECT_EQ(AgentLines(), expected);

  // A change counts once the writer looks again, within a second.
  WriteLogging("Level=7\n");
  write(7);
  EXPECT_EQ(AgentLines().size(), expected.size());
  m_clock->Advance(1.5);
  write(7);
  EXPECT_EQ(AgentLines().back(), "2024-01-15 12:00:01.750Z 7 [Test] level 7");

  // Errors get through whatever the level.
  WriteLogging("Level=0\n");
  m_clock->Advance(1.5);
  write(3);
  write(2);
  EXPECT_EQ(AgentLines().back(), "2024-01-15 12:00:03.250Z 2 [Test] level 2");
  EXPECT_EQ(AgentLines().size(), expected.size() + 2);
}

// 100-byte records under a 1 KB limit: ten to a file.
TEST_F(LogWriterTest, RotationKeepsMaxFilesAndLosesNoLine) {
  WriteLogging("MaxSizeKB=1\nMaxFiles=3\n");
  auto write = [&](int from, int to) {
    for (int n = from; n <= to; ++n) {
      char text[64];
      std::snprintf(text, sizeof text, "line %04d %-51s", n, "");  // record: 38 + 61 + line end
      App()->Logger()->WriteLine(text, "Rotation", 6, 0);
    }
  };
  auto numbersIn = [&](const std::string& name) {
    std::vector<int> numbers;
    for (const std::string& line : ReadLines(LogPath(name))) numbers.push_back(std::stoi(line.substr(43, 4)));
    EXPECT_LE(std::filesystem::file_size(LogPath(name)), 1024u) << name;
    return numbers;
  };
  auto all = [&] {
    std::vector<int> numbers;
    for (const char* name : {"MvAgent.3.log", "MvAgent.2.log", "MvAgent.1.log", "MvAgent.log"}) {
      for (int n : numbersIn(name)) numbers.push_back(n);
    }
    return numbers;
  };
  auto range = [](int from, int to) {
    std::vector<int> numbers;
    for (int n = from; n <= to; ++n) numbers.push_back(n);
    return numbers;
  };

  write(1, 35);
  EXPECT_EQ(all(), range(1, 35));
  EXPECT_EQ(numbersIn("MvAgent.3.log"), range(1, 10));
  EXPECT_EQ(numbersIn("MvAgent.log"), range(31, 35));

  write(36, 55);  // the oldest files drop out, no fourth one appears
  EXPECT_EQ(all(), range(21, 55));
  EXPECT_FALSE(std::filesystem::exists(LogPath("MvAgent.4.log")));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_home / "LogFiles"), {}), 4);
}

// Two host threads log at once, across many rotations: every line arrives whole, once,
// in each thread's order.
TEST_F(LogWriterTest, TwoThreadsLoseNoLine) {
  constexpr int kMaxFiles = 30;
  WriteLogging("MaxSizeKB=8\nMaxFiles=" + std::to_string(kMaxFiles) + "\n");
  App();
  constexpr int kLines = 1000;
  std::latch start(2);
  auto run = [&](char name) {
    start.arrive_and_wait();
    for (int n = 0; n < kLines; ++n) {
      App()->Logger()->WriteLine("thread " + std::string(1, name) + " line " + std::to_string(n), "Threads",
                                 6, 0);
    }
  };
  std::thread a(run, 'A');
  std::thread b(run, 'B');
  a.join();
  b.join();

  int next[2] = {0, 0};
  int files = 0;
  const std::string prefix = "2024-01-15 12:00:00.250Z 6 [Threads] thread ";
  for (int index = kMaxFiles; index >= 0; --index) {
    const auto lines =
        ReadLines(LogPath(index == 0 ? "MvAgent.log" : "MvAgent." + std::to_string(index) + ".log"));
    files += lines.empty() ? 0 : 1;
    for (const std::string& line : lines) {
      ASSERT_EQ(line.compare(0, prefix.size(), prefix), 0) << line;
      const std::string rest = line.substr(prefix.size());
      ASSERT_TRUE(rest.size() > 7 && (rest[0] == 'A' || rest[0] == 'B') && rest.compare(1, 6, " line ") == 0)
          << line;
      int& expected = next[rest[0] - 'A'];
      ASSERT_EQ(rest.substr(7), std::to_string(expected)) << line;
      ++expected;
    }
  }
  EXPECT_EQ(next[0], kLines);
  EXPECT_EQ(next[1], kLines);
  EXPECT_GE(files, 10);  // the run did cross rotations
}

// A folder that can't be written costs the lines, never the caller; the writer comes back
// once it can write again, and follows a file that someone else moved away.
TEST_F(LogWriterTest, SurvivesAnUnwritableFolderAndAMovedFile) {
  WriteWholeFile(m_home / "LogFiles", "not a folder");
  auto logger = App()->Logger();
  auto writer = std::dynamic_pointer_cast<FileLogWriter>(logger);
  ASSERT_NE(writer, nullptr);
  EXPECT_NO_THROW(logger->WriteLine("lost 1", "Disk", 2, 0));
  EXPECT_NO_THROW(logger->WriteEvent("lost 2", "Disk"));
  EXPECT_EQ(writer->FailedWrites(), 2);

  std::filesystem::remove(m_home / "LogFiles");
  m_clock->Advance(1.5);
  logger->WriteLine("back", "Disk", 2, 0);
  EXPECT_EQ(writer->FailedWrites(), 2);
  ASSERT_EQ(AgentLines().size(), 1u);

  std::filesystem::rename(LogPath("MvAgent.log"), LogPath("moved.log"));
  m_clock->Advance(1.5);
  logger->WriteLine("after move", "Disk", 2, 0);
  ASSERT_EQ(AgentLines().size(), 1u);
  EXPECT_NE(AgentLines()[0].find("after move"), std::string::npos);
  EXPECT_EQ(ReadLines(LogPath("moved.log")).size(), 1u);
}

}  // namespace
}  // namespace korad
