#include "platform/string_builder.h"

#include <algorithm>

namespace korad {

StringBuilder& StringBuilder::Append(std::string_view text) {
  const std::size_t needed = m_text.size() + text.size();
  // Grow by doubling, whatever the library's own policy for append is.
  if (needed > m_text.capacity()) m_text.reserve(std::max(needed, m_text.capacity() * 2));
  m_text.append(text);
  return *this;
}

}  // namespace korad
