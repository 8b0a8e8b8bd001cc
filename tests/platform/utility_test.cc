#include <gtest/gtest.h>

#include <string>

#include "contracts/error.h"
#include "platform/encrypter.h"
#include "platform/platform.h"
#include "platform/utility.h"
#include "support/error_number.h"
#include "support/fault_injecting_file_system.h"
#include "support/memory_file_system.h"
#include "support/temp_folder.h"

namespace korad {
namespace {

using korad::testing::NumberOf;

TEST(Utility, CrcOfTextIsTheStandardCrc32AsSignedDecimal) {
  Utility utility;
  EXPECT_EQ(utility.CrcOfText("123456789"), -873187034);  // 0xCBF43926
  EXPECT_EQ(utility.CrcText(utility.CrcOfText("123456789")), "-873187034");
  EXPECT_EQ(utility.CrcText(utility.CrcOfText("a")), "-390611389");  // 0xE8B7BE43
  EXPECT_EQ(utility.CrcText(0), "0");
  EXPECT_EQ(utility.CrcOfText("The configuration"), Crc32Signed("The configuration"));
}

TEST(Utility, CrcOfFileMatchesTheTextOfTheSameBytes) {
  korad::testing::TempFolder temp;
  Utility utility;
  // Larger than one read, with bytes of every value, so piecewise streaming must agree.
  std::string bytes;
  for (int i = 0; i < 200000; ++i) bytes.push_back(static_cast<char>((i * 7919) & 0xFF));
  korad::testing::WriteBytes(temp.Path("package.bin"), bytes);
  EXPECT_EQ(utility.CrcOfFile(temp.Path("package.bin")), utility.CrcOfText(bytes));
  // The agent builds paths with "\".
  EXPECT_EQ(utility.CrcOfFile(temp.Path() + "\\package.bin"), utility.CrcOfText(bytes));

  korad::testing::WriteBytes(temp.Path("empty"), "");
  EXPECT_EQ(utility.CrcOfFile(temp.Path("empty")), 0);

  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile(temp.Path("missing.bin")); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile(temp.Path("nofolder/missing.bin")); }), kErrPathNotFound);
}

TEST(Utility, CrcOfFileReadsThroughThePlatformsFileSystem) {
  auto faulty = std::make_shared<FaultInjectingFileSystem>(std::make_shared<korad::testing::MemoryFileSystem>());
  korad::testing::ScopedFileSystem<FaultInjectingFileSystem> files(faulty);
  files->CreateDirectories("/Pkg");
  files->WriteFileAtomic("/Pkg/Setup.BIN", "123456789");
  Utility utility;
  EXPECT_EQ(utility.CrcOfFile("\\pkg\\setup.bin"), -873187034) << "names resolve ignoring case";
  files->FailNextReads(1, "setup.bin");
  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile("/pkg/setup.bin"); }), kErrPathFileAccess);
  EXPECT_EQ(files->FaultsRaised(), 1);
}

}  // namespace
}  // namespace korad
