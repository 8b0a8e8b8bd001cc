#include "platform/utility.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "platform/crc32.h"
#include "platform/linux/locked_file.h"
#include "platform/linux/posix_error.h"

namespace korad {

int32_t Utility::CrcOfText(std::string_view text) const {
  Crc32 crc;
  crc.Update(text);
  return crc.Signed();
}

int32_t Utility::CrcOfFile(std::string_view path) const {
  std::string native(path);
  for (char& c : native) {
    if (c == '\\') c = '/';
  }
  locked_file::UniqueFd fd(::open(native.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.Valid()) RaisePosixError("open", errno, native);
  Crc32 crc;
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd.Get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      RaisePosixError("read", errno, native);
    }
    if (n == 0) break;
    crc.Update(std::string_view(buffer, static_cast<size_t>(n)));
  }
  return crc.Signed();
}

std::string Utility::CrcText(int32_t crc) const { return std::to_string(crc); }

}  // namespace korad
