// The text conventions the state and form files share: CR LF line ends, a CR LF inside a
// value written as "**morvaneCrLf**", and lines read as the agent has always read them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace korad {

class ErrorReporter;
class StringBuilder;

inline constexpr std::string_view kLineEnd = "\r\n";
inline constexpr std::string_view kEscapedLineEnd = "**morvaneCrLf**";

// Appends `value` with each CR LF pair written as kEscapedLineEnd.
void AppendEscapingLineEnds(StringBuilder& text, std::string_view value);
// Appends `value` with each kEscapedLineEnd turned back into CR LF.
void AppendUnescapingLineEnds(std::string& text, std::string_view value);

// Replaces the file with `text` through a temporary file and a rename, so a crash or a
// full disk leaves the old file whole.
void WriteSerializedFile(const std::string& path, std::string_view text);

// For a serializer's catch handler: logs the failure in hand as "<routine> - <monitorId>:
// <description>" at level 2 under `category`, through the owner's log manager if it has
// one. Saves and loads never raise: a monitor goes on without its state.
void LogSerializerFailure(const ErrorReporter* owner, std::string_view routine, std::string_view monitorId,
                          std::string_view category);

// Splits a file's text into lines. A CR, or a CR LF pair, ends a line; a lone LF is part
// of the line, so text from Linux commands survives a round trip. A final line without
// its end is still a line.
class LineReader {
 public:
  explicit LineReader(std::string_view text) noexcept : m_text(text) {}

  // The next line, without its end; false when the text is used up.
  bool Next(std::string_view& line) noexcept;
  bool AtEnd() const noexcept { return m_pos >= m_text.size(); }
  // 1-based number of the line last returned.
  std::size_t LineNumber() const noexcept { return m_lineNumber; }
  // True when the text doesn't end in a line end: a file cut short, most likely.
  bool EndedWithoutLineEnd() const noexcept {
    return !m_text.empty() && m_text.back() != '\r' && !m_text.ends_with(kLineEnd);
  }

 private:
  std::string_view m_text;
  std::size_t m_pos = 0;
  std::size_t m_lineNumber = 0;
};

}  // namespace korad
