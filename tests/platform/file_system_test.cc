// The Linux file system: case-insensitive names, masks, and rewrites that a full disk or
// a refused rename cannot tear.
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "platform/file_system.h"
#include "platform/linux/folder_name_cache.h"
#include "support/error_number.h"
#include "support/fault_injecting_file_system.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::NumberOf;
using testing::TempHome;

class FileSystemTest : public ::testing::Test {
 protected:
  std::shared_ptr<FileSystem> m_fs = MakeLinuxFileSystem();
  TempHome m_home;
};

TEST_F(FileSystemTest, NamesResolveIgnoringCaseAndExactNamesWin) {
  m_fs->CreateDirectories(m_home / "BIN");
  m_fs->WriteFileAtomic(m_home / "BIN/MvAgent.ini", "[A]\r\n");

  // Folders and file in any case, with either separator.
  const std::string asWritten = m_home / "BIN/MvAgent.ini";
  EXPECT_EQ(m_fs->Resolve(m_home.Path() + "\\bin\\MVAGENT.INI"), asWritten);
  EXPECT_TRUE(m_fs->Exists(m_home / "bin/mvagent.INI"));
  EXPECT_EQ(m_fs->ReadFile(m_home / "Bin/MVAGENT.INI"), "[A]\r\n");

  // (Other spellings, new names and missing folders: the file system contract test.)
  m_fs->WriteFileAtomic(m_home / "bin/MVAGENT.INI", "[B]\r\n");

  // Two names differing only in case: each exact name finds itself; a third spelling
  // picks one of them the same way every time.
  testing::WriteWholeFile(m_home / "BIN/mvagent.ini", "lower");
  EXPECT_EQ(m_fs->ReadFile(m_home / "BIN/mvagent.ini"), "lower");
  EXPECT_EQ(m_fs->ReadFile(m_home / "BIN/MvAgent.ini"), "[B]\r\n");
  EXPECT_EQ(m_fs->Resolve(m_home / "BIN/MVAgent.INI"), m_home / "BIN/MvAgent.ini");

  // Folders made below a mixed-case parent join it.
  m_fs->CreateDirectories(m_home / "bin/Sub/Deeper");
  EXPECT_TRUE(m_fs->IsDirectory(m_home / "BIN/Sub/Deeper"));
  EXPECT_EQ(m_fs->List(m_home.Path(), "*"), std::vector<std::string>{"BIN"});
  EXPECT_FALSE(m_fs->IsDirectory(m_home / "BIN/MvAgent.ini"));
}

TEST_F(FileSystemTest, MasksMatchAsTheCallersWroteThem) {
  EXPECT_TRUE(MatchesMask("0001.ser", "*.SER"));
  EXPECT_FALSE(MatchesMask("0001.sera", "*.SER"));
  EXPECT_FALSE(MatchesMask("0001.ser.bak", "*.SER"));
  EXPECT_TRUE(MatchesMask("MvInventory.dll", "MvI*.*"));
  EXPECT_TRUE(MatchesMask("mvinit", "MvI*.*"));
  EXPECT_FALSE(MatchesMask("MvAgent.ini", "MvI*.*"));
  EXPECT_TRUE(MatchesMask("README", "*.*"));
  EXPECT_TRUE(MatchesMask("a.b.c", "*.*"));
  EXPECT_TRUE(MatchesMask("abc", "a?c"));
  EXPECT_FALSE(MatchesMask("ac", "a?c"));
  EXPECT_TRUE(MatchesMask("x.aab", "*a*b"));
  EXPECT_FALSE(MatchesMask("x.aba", "*a*b"));

  for (const char* name : {"b.ser", "A.SER", "MvInit.dll", "notes", "c.ser.old"}) {
    m_fs->WriteFileAtomic(m_home / name, "x");
  }
  m_fs->CreateDirectories(m_home / "Sub.ser");
  EXPECT_EQ(m_fs->List(m_home.Path(), "*.SER"), (std::vector<std::string>{"A.SER", "b.ser", "Sub.ser"}));
  EXPECT_EQ(m_fs->List(m_home.Path() + "\\", "mvi*.*"), std::vector<std::string>{"MvInit.dll"});
  EXPECT_EQ(m_fs->List(m_home.Path(), "*.*").size(), 6u);
  EXPECT_TRUE(m_fs->List(m_home / "missing", "*.*").empty());
}

TEST_F(FileSystemTest, FailuresRaiseTheHostNumbersWithCallAndPath) {
  const std::string missing = m_home / "gone.txt";
  try {
    m_fs->ReadFile(missing);
    FAIL() << "no error";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), kErrFileNotFound);
    EXPECT_EQ(e.Description(), "File not found: open(" + missing + "): No such file or directory");
  }
  EXPECT_EQ(NumberOf([&] { m_fs->ReadFile(m_home / "nofolder/x.txt"); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { m_fs->RemoveFile(missing); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { m_fs->WriteFileAtomic(m_home / "nofolder/x.txt", "x"); }), kErrPathNotFound);
  EXPECT_FALSE(m_fs->Exists(m_home / "nofolder"));

  m_fs->WriteFileAtomic(m_home / "plain", "x");
  EXPECT_EQ(NumberOf([&] { m_fs->ReadFile(m_home / "plain/below"); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { m_fs->CreateDirectories(m_home / "plain/below"); }), kErrPathNotFound);
}

// The real write path, not a wrapper: the process may write only a few bytes, so the
// temporary file fills up halfway, as on a full disk.
TEST_F(FileSystemTest, AFullDiskDuringARewriteLeavesTheOldFileWhole) {
  const std::string path = m_home / "state.xml";
  m_fs->WriteFileAtomic(path, "old content");
  ::chmod(path.c_str(), 0600);

  struct rlimit saved;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  struct rlimit tight = saved;
  tight.rlim_cur = 64;
  sighandler_t savedHandler = ::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &tight), 0);
  int32_t number = NumberOf([&] { m_fs->WriteFileAtomic(path, std::string(4096, 'n')); });
  ::setrlimit(RLIMIT_FSIZE, &saved);
  ::signal(SIGXFSZ, savedHandler);

  EXPECT_EQ(number, kErrDiskFull);
  EXPECT_EQ(m_fs->ReadFile(path), "old content");
  EXPECT_EQ(m_fs->List(m_home.Path(), "*"), std::vector<std::string>{"state.xml"});

  // With room again the rewrite goes through, and a private file stays private.
  m_fs->WriteFileAtomic(path, std::string(4096, 'n'));
  EXPECT_EQ(m_fs->Stat(path)->size, 4096);
  struct stat st;
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST_F(FileSystemTest, ARefusedRenameLeavesNoTemporaryFile) {
  // A folder in the way makes the final rename fail after the data is written.
  m_fs->CreateDirectories(m_home / "Target/inside");
  EXPECT_EQ(NumberOf([&] { m_fs->WriteFileAtomic(m_home / "target", "data"); }), kErrPathFileAccess);
  EXPECT_EQ(m_fs->List(m_home.Path(), "*"), std::vector<std::string>{"Target"});
  EXPECT_TRUE(m_fs->IsDirectory(m_home / "Target/inside"));
}

TEST_F(FileSystemTest, InjectedFaultsChangeNothingUntilTheyRunOut) {
  auto faulty = std::make_shared<FaultInjectingFileSystem>(m_fs);
  const std::string path = m_home / "errors.xml";
  faulty->WriteFileAtomic(path, "first");

  faulty->FailNextWrites(2, "errors");
  faulty->WriteFileAtomic(m_home / "other.xml", "unaffected");
  EXPECT_EQ(NumberOf([&] { faulty->WriteFileAtomic(path, "second"); }), kErrDiskFull);
  EXPECT_EQ(NumberOf([&] { faulty->AppendFile(path, "more"); }), kErrDiskFull);
  EXPECT_EQ(faulty->ReadFile(path), "first");
  faulty->AppendFile(path, "+more");
  EXPECT_EQ(faulty->ReadFile(path), "first+more");

  faulty->FailNextRenames(1);
  EXPECT_EQ(NumberOf([&] { faulty->WriteFileAtomic(path, "third"); }), kErrPermissionDenied);
  EXPECT_EQ(faulty->ReadFile(path), "first+more");
  faulty->FailNextRenames(1, kErrPathFileAccess);
  EXPECT_EQ(NumberOf([&] { faulty->Rename(path, m_home / "moved.xml"); }), kErrPathFileAccess);
  EXPECT_EQ(faulty->FaultsRaised(), 4);

  faulty->Rename(path, m_home / "OTHER.XML");  // replaces the existing file, keeping its name
  EXPECT_EQ(m_fs->List(m_home.Path(), "*"), std::vector<std::string>{"other.xml"});
  EXPECT_EQ(m_fs->ReadFile(m_home / "other.xml"), "first+more");
}

// Sizes, write times and their errors are in the contract test; the access time only
// Linux keeps.
TEST_F(FileSystemTest, StatAndFileTimes) {
  const std::string path = m_home / "heartbeat.dat";
  m_fs->AppendFile(path, "12345");
  EXPECT_FALSE(m_fs->Stat(m_home / "Heartbeat.Dat")->isDirectory);

  OleDate when = *OleDate::FromCivil(2020, 1, 2, 3, 4, 5, 250);
  m_fs->SetFileTimes(m_home / "HEARTBEAT.dat", *OleDate::FromCivil(2021, 1, 1), when);
  EXPECT_EQ(m_fs->Stat(path)->modifiedUtc.ToUnixMillis(), when.ToUnixMillis()) << "milliseconds kept";
  struct stat st {};
  ASSERT_EQ(::stat(path.c_str(), &st), 0);
  EXPECT_EQ(int64_t{st.st_atime} * 1000, OleDate::FromCivil(2021, 1, 1)->ToUnixMillis());

  EXPECT_TRUE(m_fs->Stat(m_home.Path())->isDirectory);
  EXPECT_EQ(m_fs->Stat(m_home / "absent"), std::nullopt);
  EXPECT_EQ(FileSystem::NativePath("C:\\Program Files\\x/y"), "C:/Program Files/x/y");
}

// Listings are reused to answer "no such file" cheaply; they must never hide a file made
// or renamed since. With no trust window the listing is kept at once; the pauses put each
// change a clock tick after the one before, which the window guarantees in real use.
TEST(FolderNameCacheTest, AListingServesOnlyWhileTheFolderIsUnchanged) {
  using namespace std::chrono_literals;
  TempHome home;
  testing::WriteWholeFile(home / "MvAgent.ini", "x");
  FolderNameCache cache(0ms);
  std::this_thread::sleep_for(20ms);

  EXPECT_EQ(cache.Find(home.Path(), "MVAGENT.INI"), "MvAgent.ini");
  EXPECT_EQ(cache.Find(home.Path(), "new.ini"), std::nullopt);
  testing::WriteWholeFile(home / "NEW.INI", "x");
  EXPECT_EQ(cache.Find(home.Path(), "new.ini"), "NEW.INI");

  std::this_thread::sleep_for(20ms);
  std::filesystem::rename(home / "NEW.INI", home / "New.Ini");
  EXPECT_EQ(cache.Find(home.Path(), "NEW.INI"), "New.Ini");
  std::this_thread::sleep_for(20ms);
  std::filesystem::remove(home / "New.Ini");
  EXPECT_EQ(cache.Find(home.Path(), "new.ini"), std::nullopt);
  EXPECT_EQ(cache.Find(home / "missing", "x"), std::nullopt);
}

}  // namespace
}  // namespace korad
