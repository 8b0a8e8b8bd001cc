// Public records of the library's type information.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace korad {

// The service configuration record of the host system.
struct QUERY_SERVICE_CONFIG {
  int32_t dwServiceType = 0;
  int32_t dwStartType = 0;
  int32_t dwErrorControl = 0;
  std::string lpBinaryPathName;
  std::string lpLoadOrderGroup;
  int32_t dwTagId = 0;
  std::string lpDependencies;
  std::string lpServiceStartName;
  std::string lpDisplayName;
};

// A fixed buffer and the text at its end.
struct LastData {
  std::array<uint8_t, 1024> Buffer{};
  std::string BufferEnd;
};

}  // namespace korad
