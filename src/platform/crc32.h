// CRC-32 (zlib's polynomial and conditioning) computed over pieces, so a file can be
// streamed. The one CRC of the agent: texts, files and forms all use it, and values
// stored by older runs are compared with it, so it never changes.
#pragma once

#include <cstdint>
#include <string_view>

namespace korad {

class Crc32 {
 public:
  void Update(std::string_view bytes);
  // The CRC of everything passed so far, as a signed 32-bit integer.
  int32_t Signed() const { return static_cast<int32_t>(m_crc); }

 private:
  uint32_t m_crc = 0;
};

}  // namespace korad
