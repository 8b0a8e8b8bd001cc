// Writers of one ini file in several threads and processes at once, and a reader: each
// rewrite reads the file, changes it and renames a new one over it, so without the lock a
// writer would rename away what another had just added.
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/profile.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

constexpr int kWrites = 200;

std::string ValueFor(const std::string& section, int i) {
  return section + "-" + std::to_string(i) + "=v;";  // "=" and ";" belong to the value
}

// The number of writes that failed.
int WriteOwnSection(const std::string& section, const std::string& ini) {
  int failures = 0;
  for (int i = 0; i < kWrites; ++i) {
    if (!WritePrivateProfileString(section, "K" + std::to_string(i), ValueFor(section, i), ini)) ++failures;
  }
  return failures;
}

TEST(ProfileConcurrencyTest, TwoThreadsAndTwoProcessesWritingTheirOwnSectionsLoseNothing) {
  Platform::Current().SetFileSystem(nullptr);  // the real one, whatever a test before left
  testing::TempHome home;
  const std::string ini = home / "Shared.ini";

  // Children are forked before any thread of this test starts, and all writers are
  // released together: the processes when the pipe closes, the threads by the latch.
  int go[2];
  ASSERT_EQ(::pipe(go), 0);
  std::vector<pid_t> children;
  for (const std::string section : {"P1", "P2"}) {
    pid_t pid = ::fork();
    if (pid == 0) {
      ::close(go[1]);
      char byte;
      while (::read(go[0], &byte, 1) < 0 && errno == EINTR) {
      }
      ::_exit(WriteOwnSection(section, ini) == 0 ? 0 : 1);
    }
    EXPECT_GT(pid, 0) << "fork failed";
    if (pid > 0) children.push_back(pid);
  }
  ::close(go[0]);

  std::latch start(1);
  std::atomic<int> threadFailures{0};
  std::vector<std::thread> threads;
  for (const std::string section : {"T1", "T2"}) {
    threads.emplace_back([&, section] {
      start.wait();
      threadFailures += WriteOwnSection(section, ini);
    });
  }
  // A reader meanwhile, sharing the parsed file with the writers of its process: what
  // it sees of a section only ever grows.
  std::atomic<bool> writing{true};
  std::atomic<int> shrinks{0};
  std::thread reader([&] {
    start.wait();
    size_t seen = 0;
    while (writing) {
      const size_t lines = GetPrivateProfileSection("T1", ini).value_or(std::vector<std::string>{}).size();
      if (lines < seen) ++shrinks;
      seen = lines;
    }
  });
  ::close(go[1]);
  start.count_down();

  for (std::thread& thread : threads) thread.join();
  writing = false;
  reader.join();
  EXPECT_EQ(shrinks.load(), 0);
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a child's writes failed";
  }
  EXPECT_EQ(threadFailures.load(), 0);
  ASSERT_EQ(children.size(), 2u);

  std::vector<std::string> sections = GetPrivateProfileSectionNames(ini);
  std::sort(sections.begin(), sections.end());
  EXPECT_EQ(sections, (std::vector<std::string>{"P1", "P2", "T1", "T2"}));
  for (const std::string section : {"P1", "P2", "T1", "T2"}) {
    std::vector<std::string> expected;
    for (int i = 0; i < kWrites; ++i) expected.push_back("K" + std::to_string(i) + "=" + ValueFor(section, i));
    EXPECT_EQ(GetPrivateProfileSection(section, ini), expected) << section;
    EXPECT_EQ(GetPrivateProfileString(section, "k199", "", ini), ValueFor(section, 199));
  }
  EXPECT_EQ(MakeLinuxFileSystem()->List(home.Path(), "*"), std::vector<std::string>{"Shared.ini"});
}

}  // namespace
}  // namespace korad
