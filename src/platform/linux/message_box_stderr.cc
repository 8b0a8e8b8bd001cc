#include <unistd.h>

#include <string>

#include "platform/message_box.h"

namespace korad {

void ShowMessageBox(std::string_view text) {
  // One write, so lines of concurrent threads don't interleave.
  std::string line(text);
  line.push_back('\n');
  const char* p = line.data();
  size_t left = line.size();
  while (left > 0) {
    const ssize_t n = ::write(STDERR_FILENO, p, left);
    if (n <= 0) return;
    p += n;
    left -= static_cast<size_t>(n);
  }
}

}  // namespace korad
