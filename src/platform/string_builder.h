// StringBuilder: the "MvSystem.StringBuilder" component. Texts that are written to disk
// at once (state files, exports) are built here piece by piece.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korad {

class StringBuilder {
 public:
  static constexpr std::string_view kClassId = "MvSystem.StringBuilder";

  explicit StringBuilder(std::size_t capacity = 0) { m_text.reserve(capacity); }

  // Appends in amortised constant time per byte.
  StringBuilder& Append(std::string_view text);
  const std::string& Text() const noexcept { return m_text; }
  std::size_t Length() const noexcept { return m_text.size(); }
  // Empties the text and keeps the room, so a builder can be reused for the next file.
  void Clear() noexcept { m_text.clear(); }

 private:
  std::string m_text;
};

}  // namespace korad
