#include "platform/crc32.h"

#include <zlib.h>

#include <algorithm>

#include "platform/encrypter.h"

namespace korad {

void Crc32::Update(std::string_view bytes) {
  // zlib takes the length as uInt; feed longer inputs in pieces.
  constexpr size_t kMaxPiece = 1u << 30;
  uLong crc = m_crc;
  while (!bytes.empty()) {
    const size_t piece = std::min(bytes.size(), kMaxPiece);
    crc = crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(piece));
    bytes.remove_prefix(piece);
  }
  m_crc = static_cast<uint32_t>(crc);
}

int32_t Crc32Signed(std::string_view bytes) {
  Crc32 crc;
  crc.Update(bytes);
  return crc.Signed();
}

}  // namespace korad
