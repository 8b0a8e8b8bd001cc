// mvSystem.Utility: the CRC of a text and of a file, and its decimal text. The CRC is
// the one of Crc32Signed (and of Encrypter::Crc): CRC-32 as a signed 32-bit integer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace korad {

class Utility {
 public:
  int32_t CrcOfText(std::string_view text) const;
  // Through the platform's file system, so names resolve as every other read does.
  // Raises 53 for a missing file, 76 for a missing folder, 70 when denied.
  int32_t CrcOfFile(std::string_view path) const;
  // The CRC as decimal text, with a "-" when negative.
  std::string CrcText(int32_t crc) const;
};

}  // namespace korad
