#include <gtest/gtest.h>

#include <string>

#include "contracts/error.h"
#include "platform/encrypter.h"
#include "platform/platform.h"
#include "platform/utility.h"
#include "support/error_number.h"
#include "support/fault_injecting_file_system.h"
#include "support/memory_file_system.h"

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

// The file system's own reads are checked on Linux and in memory by its contract test;
// here, that the CRC streams through whatever file system the platform holds.
TEST(Utility, CrcOfFileStreamsThroughThePlatformsFileSystem) {
  auto faulty = std::make_shared<FaultInjectingFileSystem>(std::make_shared<korad::testing::MemoryFileSystem>());
  korad::testing::ScopedFileSystem<FaultInjectingFileSystem> files(faulty);
  files->CreateDirectories("/Pkg");
  // Larger than one read, with bytes of every value, so piecewise streaming must agree.
  std::string bytes;
  for (int i = 0; i < 200000; ++i) bytes.push_back(static_cast<char>((i * 7919) & 0xFF));
  files->WriteFileAtomic("/Pkg/Setup.BIN", bytes);
  files->WriteFileAtomic("/Pkg/empty", "");
  Utility utility;
  EXPECT_EQ(utility.CrcOfFile("\\pkg\\setup.bin"), utility.CrcOfText(bytes)) << "names resolve ignoring case";
  EXPECT_EQ(utility.CrcOfFile("/Pkg/empty"), 0);
  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile("/Pkg/missing.bin"); }), kErrFileNotFound);
  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile("/nofolder/missing.bin"); }), kErrPathNotFound);
  files->FailNextReads(1, "setup.bin");
  EXPECT_EQ(NumberOf([&] { utility.CrcOfFile("/pkg/setup.bin"); }), kErrPathFileAccess);
  EXPECT_EQ(files->FaultsRaised(), 1);
}

}  // namespace
}  // namespace korad
