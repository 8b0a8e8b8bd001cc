// Texts stored side by side in blocks that never move: many short texts (the keys of a
// dictionary of 100,000 items) without an allocation each. Nothing is freed one by one;
// a pool is dropped or cleared as a whole.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace korad {

class TextPool {
 public:
  // A copy of `text` that stays valid, and in place, until the pool is cleared or dies.
  std::string_view Store(std::string_view text);
  void Clear() noexcept;
  // Bytes stored so far, those of texts no longer used included.
  std::size_t Size() const noexcept { return m_stored; }

 private:
  static constexpr std::size_t kBlockSize = 64 * 1024;

  std::vector<std::unique_ptr<char[]>> m_blocks;
  char* m_next = nullptr;
  std::size_t m_left = 0;
  std::size_t m_stored = 0;
};

}  // namespace korad
