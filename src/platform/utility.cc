#include "platform/utility.h"

#include "platform/crc32.h"
#include "platform/file_system.h"
#include "platform/platform.h"

namespace korad {

int32_t Utility::CrcOfText(std::string_view text) const {
  Crc32 crc;
  crc.Update(text);
  return crc.Signed();
}

int32_t Utility::CrcOfFile(std::string_view path) const {
  Crc32 crc;
  Platform::Current().GetFileSystem().ReadChunks(path, [&](std::string_view piece) { crc.Update(piece); });
  return crc.Signed();
}

std::string Utility::CrcText(int32_t crc) const { return std::to_string(crc); }

}  // namespace korad
