#include "incident/serialized_text.h"

#include "contracts/error_reporter.h"
#include "foundation/file_functions.h"
#include "platform/file_system.h"
#include "platform/platform.h"

#include <cstring>

#include "platform/string_builder.h"

namespace korad {

void AppendEscapingLineEnds(StringBuilder& text, std::string_view value) {
  std::size_t start = 0;
  for (std::size_t at = value.find(kLineEnd); at != std::string_view::npos; at = value.find(kLineEnd, start)) {
    text.Append(value.substr(start, at - start)).Append(kEscapedLineEnd);
    start = at + kLineEnd.size();
  }
  text.Append(value.substr(start));
}

void AppendUnescapingLineEnds(std::string& text, std::string_view value) {
  std::size_t start = 0;
  for (std::size_t at = value.find(kEscapedLineEnd); at != std::string_view::npos;
       at = value.find(kEscapedLineEnd, start)) {
    text.append(value.substr(start, at - start)).append(kLineEnd);
    start = at + kEscapedLineEnd.size();
  }
  text.append(value.substr(start));
}

bool LineReader::Next(std::string_view& line) noexcept {
  if (AtEnd()) return false;
  const char* begin = m_text.data() + m_pos;
  const std::size_t rest = m_text.size() - m_pos;
  const void* cr = std::memchr(begin, '\r', rest);
  if (cr == nullptr) {
    line = std::string_view(begin, rest);
    m_pos = m_text.size();
  } else {
    const std::size_t length = static_cast<std::size_t>(static_cast<const char*>(cr) - begin);
    line = std::string_view(begin, length);
    m_pos += length + 1;
    if (m_pos < m_text.size() && m_text[m_pos] == '\n') ++m_pos;
  }
  ++m_lineNumber;
  return true;
}

void WriteSerializedFile(const std::string& path, std::string_view text) {
  ClearHiddenAttribute(path);
  Platform::Current().GetFileSystem().WriteFileAtomic(path, text);
}

void LogSerializerFailure(const ErrorReporter* owner, std::string_view routine, std::string_view monitorId,
                          std::string_view category) {
  const Error failure = CurrentExceptionAsError();
  if (owner && owner->GetLogManager()) {
    owner->GetLogManager()->Log(std::string(routine) + " - " + std::string(monitorId) + ": " + failure.Description(),
                                category, logLevelError);
  }
}

}  // namespace korad
