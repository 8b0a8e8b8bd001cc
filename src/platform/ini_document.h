// The text of an ini file as the profile functions see it: sections and keys found
// case-insensitively, everything else carried along. Lines that no change touches are
// written back byte for byte, so comments, odd spacing and foreign lines survive a rewrite.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace korad {

class IniDocument {
 public:
  // Accepts LF and CRLF line ends, a missing last line end and a leading UTF-8 BOM.
  static IniDocument Parse(std::string_view text);
  // The text again: untouched lines exactly as parsed, written lines with the line end
  // the file already uses (CRLF for a file that has none yet).
  std::string Serialize() const;

  // Section names in file order, each once (the first spelling).
  std::vector<std::string> SectionNames() const;
  // The first section of that name: keys as "key=value" with blanks trimmed around both,
  // comment lines and lines without "=" trimmed, blank lines left out. nullopt if missing.
  std::optional<std::vector<std::string>> SectionLines(std::string_view section) const;
  // The value of the first such key in the first such section, blanks trimmed, quotes
  // kept. nullopt if missing.
  std::optional<std::string> Value(std::string_view section, std::string_view key) const;

  // The changes return true when the text changed. Line breaks inside names and values
  // end them there: a value can't smuggle a section or a key into the file.

  // Replaces the value of the first such key in place, or adds the key at the end of the
  // section, or adds the section at the end of the file.
  bool SetValue(std::string_view section, std::string_view key, std::string_view value);
  // Removes every line of that key in every section of that name.
  bool DeleteKey(std::string_view section, std::string_view key);
  // Removes every section of that name with all its lines.
  bool DeleteSection(std::string_view section);
  // Replaces the lines of the first such section (adding it when new) with `lines`,
  // which are written as they stand; an entry holding line breaks gives several lines.
  // Empty entries are dropped; with no lines left the section is deleted, which is
  // what callers mean by writing a section with no text. Other sections of that name go.
  bool ReplaceSection(std::string_view section, const std::vector<std::string>& lines);

 private:
  enum class Kind { kBlank, kSection, kKey, kComment, kOther };
  struct Line {
    std::string text;    // without its line end
    std::string ending;  // "\r\n", "\n", or "" for a last line without one
    Kind kind = Kind::kBlank;
    std::string name;    // section name or key, trimmed
  };
  // [header, end): a header line and the lines up to the next header.
  using Range = std::pair<size_t, size_t>;

  static Line MakeLine(std::string text, std::string ending, bool first = false);
  std::vector<Range> SectionRanges(std::string_view section) const;
  std::optional<size_t> FindKey(Range range, std::string_view key) const;
  // Where a line added to the section goes: after its last non-blank line.
  size_t InsertionPoint(Range range) const;
  void InsertLines(size_t at, std::vector<std::string> texts);
  void EraseRanges(const std::vector<Range>& ranges);
  // Rebuilds the section index after the lines changed.
  void Reindex();

  std::vector<Line> m_lines;
  std::string m_newline = "\r\n";
  // The ranges of each section by upper-cased name, and the names in file order: a
  // reader of one section doesn't walk the whole file.
  std::unordered_map<std::string, std::vector<Range>> m_sections;
  std::vector<std::string> m_sectionNames;
};

}  // namespace korad
