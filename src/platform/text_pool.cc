#include "platform/text_pool.h"

#include <cstring>

namespace korad {

std::string_view TextPool::Store(std::string_view text) {
  if (text.empty()) return {};
  char* at;
  if (text.size() > kBlockSize / 4) {
    // A long text gets a block of its own; the current block goes on filling.
    m_blocks.push_back(std::make_unique_for_overwrite<char[]>(text.size()));
    at = m_blocks.back().get();
  } else {
    if (text.size() > m_left) {
      m_blocks.push_back(std::make_unique_for_overwrite<char[]>(kBlockSize));
      m_next = m_blocks.back().get();
      m_left = kBlockSize;
    }
    at = m_next;
    m_next += text.size();
    m_left -= text.size();
  }
  std::memcpy(at, text.data(), text.size());
  m_stored += text.size();
  return {at, text.size()};
}

void TextPool::Clear() noexcept {
  m_blocks.clear();
  m_next = nullptr;
  m_left = 0;
  m_stored = 0;
}

}  // namespace korad
