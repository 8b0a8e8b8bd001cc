// One script of file operations run on the Linux file system and on the tests' memory
// file system, so the fake answers what the real one answers: names, masks, pieces,
// renames, times and the error numbers.
#include <gtest/gtest.h>

#include "contracts/error.h"
#include "platform/file_system.h"
#include "support/error_number.h"
#include "support/memory_file_system.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using testing::NumberOf;
using Names = std::vector<std::string>;

void RunContract(FileSystem& fs, const std::string& root) {
  const std::string ini = root + "/BIN/MvAgent.ini";
  fs.CreateDirectories(root + "/BIN");
  fs.WriteFileAtomic(ini, "[A]");
  EXPECT_EQ(fs.Resolve(root + "\\bin\\MVAGENT.INI"), ini);
  EXPECT_EQ(fs.Resolve(root + "/bin/New.ini"), root + "/BIN/New.ini");
  EXPECT_EQ(fs.Resolve(root + "/nowhere/x.ini"), std::nullopt);
  EXPECT_EQ(fs.ResolveForWrite(root + "/bin/Nowhere/X.ini"), root + "/BIN/Nowhere/X.ini");
  // Dots taken away, names exact: where a program lives is judged by this.
  const std::string real = fs.CanonicalPath(root).value_or("?");
  EXPECT_EQ(fs.CanonicalPath(root + "/BIN/./../BIN/MvAgent.ini"), real + "/BIN/MvAgent.ini");
  EXPECT_EQ(fs.CanonicalPath(root + "/bin/MvAgent.ini"), std::nullopt);
  fs.WriteFileAtomic(root + "/bin/MVAGENT.INI", "[B]");
  fs.AppendFile(root + "/BIN/log.txt", "12");
  fs.AppendFile(root + "/bin/LOG.TXT", "345");
  fs.AppendFile(root + "/BIN/.MvAgent.ini.1.0.tmp", "");  // an atomic write under way
  EXPECT_EQ(fs.List(root + "/bin", "*"), (Names{"log.txt", "MvAgent.ini"}));
  EXPECT_EQ(fs.List(root + "/BIN", "*.INI"), Names{"MvAgent.ini"});
  EXPECT_TRUE(fs.List(root + "/missing", "*").empty());
  EXPECT_EQ(fs.ReadFile(ini), "[B]");
  EXPECT_EQ(fs.Stat(root + "/bin/log.txt")->size, 5);
  EXPECT_TRUE(fs.IsDirectory(root + "/bin"));

  std::string big(200000, 'x'), pieces;
  for (size_t i = 0; i < big.size(); i += 7) big[i] = static_cast<char>(i);
  fs.WriteFileAtomic(root + "/BIN/big.bin", big);
  int count = 0;
  fs.ReadChunks(root + "/bin/BIG.bin", [&](std::string_view piece) { pieces.append(piece), ++count; });
  EXPECT_EQ(pieces, big);
  EXPECT_GT(count, 1);

  // A rename over another spelling of an existing file replaces it under its own name.
  fs.Rename(root + "/bin/log.txt", root + "/BIN/mvagent.INI");
  EXPECT_EQ(fs.List(root + "/BIN", "*"), (Names{"big.bin", "MvAgent.ini"}));
  EXPECT_EQ(fs.ReadFile(ini), "12345");
  const OleDate accessed = *OleDate::FromCivil(2021, 1, 1), modified = *OleDate::FromCivil(2022, 2, 2, 3, 4, 5);
  fs.SetFileTimes(root + "/bin/mvagent.ini", accessed, modified);
  EXPECT_EQ(fs.Stat(ini)->modifiedUtc.ToUnixMillis(), modified.ToUnixMillis());

  EXPECT_EQ(NumberOf([&] { fs.ReadFile(root + "/gone"); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { fs.ReadChunks(root + "/nofolder/x", [](std::string_view) {}); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { fs.RemoveFile(root + "/gone"); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { fs.Rename(root + "/gone", root + "/x"); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { fs.WriteFileAtomic(root + "/nofolder/x", "x"); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { fs.ReadFile(ini + "/below"); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { fs.CreateDirectories(ini + "/below"); }), kErrPathNotFound);
  EXPECT_EQ(NumberOf([&] { fs.SetFileTimes(root + "/gone", accessed, modified); }), kErrFileNotFound);
  fs.RemoveFile(root + "/bin/BIG.BIN");
  EXPECT_FALSE(fs.Exists(root + "/BIN/big.bin"));
}

TEST(FileSystemContract, Linux) {
  testing::TempFolder folder;
  RunContract(*MakeLinuxFileSystem(), folder.Path());
}

TEST(FileSystemContract, Memory) {
  testing::MemoryFileSystem fs;
  fs.CreateDirectories("/home/agent");
  RunContract(fs, "/home/agent");
}

}  // namespace
}  // namespace korad
