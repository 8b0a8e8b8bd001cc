#include "platform/ini_document.h"

#include <algorithm>

#include "contracts/text.h"

namespace korad {
namespace {

constexpr std::string_view kBom = "\xEF\xBB\xBF";

std::string_view TrimIni(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A name or value ends at a line break: the rest would become lines of its own.
std::string_view OneLine(std::string_view text) { return text.substr(0, text.find_first_of("\r\n")); }

std::string_view ValueOf(std::string_view lineText) {
  return TrimIni(lineText.substr(lineText.find('=') + 1));
}

std::vector<std::string> SplitEntries(const std::vector<std::string>& entries) {
  std::vector<std::string> lines;
  for (std::string_view entry : entries) {
    size_t start = 0;
    while (start <= entry.size()) {
      size_t end = entry.find_first_of("\r\n", start);
      if (end == std::string_view::npos) end = entry.size();
      std::string_view line = entry.substr(start, end - start);
      if (!TrimIni(line).empty()) lines.emplace_back(line);
      if (end < entry.size() && entry[end] == '\r' && end + 1 < entry.size() && entry[end + 1] == '\n') ++end;
      start = end + 1;
    }
  }
  return lines;
}

}  // namespace

IniDocument::Line IniDocument::MakeLine(std::string text, std::string ending, bool first) {
  Line line{std::move(text), std::move(ending), Kind::kBlank, {}};
  std::string_view view = line.text;
  if (first && view.substr(0, kBom.size()) == kBom) view.remove_prefix(kBom.size());
  std::string_view trimmed = TrimIni(view);
  if (trimmed.empty()) return line;
  if (trimmed[0] == '[') {
    std::string_view name = trimmed.substr(1);
    line.kind = Kind::kSection;
    line.name = TrimIni(name.substr(0, name.find(']')));
  } else if (trimmed[0] == ';' || trimmed[0] == '#') {
    line.kind = Kind::kComment;
  } else if (size_t eq = trimmed.find('='); eq != std::string_view::npos) {
    line.kind = Kind::kKey;
    line.name = TrimIni(trimmed.substr(0, eq));
  } else {
    line.kind = Kind::kOther;
  }
  return line;
}

IniDocument IniDocument::Parse(std::string_view text) {
  IniDocument document;
  bool newlineKnown = false;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t newline = text.find('\n', pos);
    size_t end = newline == std::string_view::npos ? text.size() : newline;
    std::string ending;
    if (newline != std::string_view::npos) {
      ending = "\n";
      if (end > pos && text[end - 1] == '\r') {
        --end;
        ending = "\r\n";
      }
    }
    if (!newlineKnown && !ending.empty()) {
      document.m_newline = ending;
      newlineKnown = true;
    }
    document.m_lines.push_back(
        MakeLine(std::string(text.substr(pos, end - pos)), std::move(ending), pos == 0));
    pos = newline == std::string_view::npos ? text.size() : newline + 1;
  }
  document.Reindex();
  return document;
}

std::string IniDocument::Serialize() const {
  std::string text;
  for (const Line& line : m_lines) text.append(line.text).append(line.ending);
  return text;
}

std::vector<std::string> IniDocument::SectionNames() const { return m_sectionNames; }

std::optional<std::vector<std::string>> IniDocument::SectionLines(std::string_view section) const {
  std::vector<Range> ranges = SectionRanges(section);
  if (ranges.empty()) return std::nullopt;
  std::vector<std::string> lines;
  for (size_t i = ranges[0].first + 1; i < ranges[0].second; ++i) {
    const Line& line = m_lines[i];
    if (line.kind == Kind::kBlank) continue;
    if (line.kind == Kind::kKey) {
      lines.push_back(line.name + "=" + std::string(ValueOf(line.text)));
    } else {
      lines.emplace_back(TrimIni(line.text));
    }
  }
  return lines;
}

std::optional<std::string> IniDocument::Value(std::string_view section, std::string_view key) const {
  std::vector<Range> ranges = SectionRanges(section);
  if (ranges.empty()) return std::nullopt;
  std::optional<size_t> found = FindKey(ranges[0], key);
  if (!found) return std::nullopt;
  return std::string(ValueOf(m_lines[*found].text));
}

bool IniDocument::SetValue(std::string_view section, std::string_view key, std::string_view value) {
  section = TrimIni(OneLine(section));
  key = TrimIni(OneLine(key));
  value = OneLine(value);
  std::string keyLine = std::string(key) + "=" + std::string(value);
  std::vector<Range> ranges = SectionRanges(section);
  if (ranges.empty()) {
    InsertLines(m_lines.size(), {"[" + std::string(section) + "]", keyLine});
    return true;
  }
  if (std::optional<size_t> found = FindKey(ranges[0], key)) {
    // Only the value changes: the key keeps its spelling and spacing.
    Line& line = m_lines[*found];
    std::string text = line.text.substr(0, line.text.find('=') + 1) + std::string(value);
    if (text == line.text) return false;
    line.text = std::move(text);
    return true;
  }
  InsertLines(InsertionPoint(ranges[0]), {keyLine});
  return true;
}

bool IniDocument::DeleteKey(std::string_view section, std::string_view key) {
  key = TrimIni(OneLine(key));
  std::vector<size_t> doomed;
  for (const Range& range : SectionRanges(TrimIni(OneLine(section)))) {
    for (size_t i = range.first + 1; i < range.second; ++i) {
      if (m_lines[i].kind == Kind::kKey && EqualsNoCase(m_lines[i].name, key)) doomed.push_back(i);
    }
  }
  if (doomed.empty()) return false;
  for (auto it = doomed.rbegin(); it != doomed.rend(); ++it) m_lines.erase(m_lines.begin() + *it);
  Reindex();
  return true;
}

bool IniDocument::DeleteSection(std::string_view section) {
  std::vector<Range> ranges = SectionRanges(TrimIni(OneLine(section)));
  EraseRanges(ranges);
  return !ranges.empty();
}

bool IniDocument::ReplaceSection(std::string_view section, const std::vector<std::string>& lines) {
  section = TrimIni(OneLine(section));
  std::vector<std::string> texts = SplitEntries(lines);
  if (texts.empty()) return DeleteSection(section);
  std::vector<Range> ranges = SectionRanges(section);
  if (ranges.empty()) {
    texts.insert(texts.begin(), "[" + std::string(section) + "]");
    InsertLines(m_lines.size(), std::move(texts));
    return true;
  }
  // The section's blank lines before the next header stay, keeping the file's spacing.
  Range first = ranges[0];
  size_t bodyEnd = InsertionPoint(first);
  bool same = ranges.size() == 1 && bodyEnd - first.first - 1 == texts.size() &&
              std::equal(texts.begin(), texts.end(), m_lines.begin() + first.first + 1,
                         [](const std::string& text, const Line& line) { return text == line.text; });
  if (same) return false;
  EraseRanges({ranges.begin() + 1, ranges.end()});
  m_lines.erase(m_lines.begin() + first.first + 1, m_lines.begin() + bodyEnd);
  InsertLines(first.first + 1, std::move(texts));
  return true;
}

std::vector<IniDocument::Range> IniDocument::SectionRanges(std::string_view section) const {
  auto found = m_sections.find(UpperAscii(section));
  return found == m_sections.end() ? std::vector<Range>{} : found->second;
}

void IniDocument::Reindex() {
  m_sections.clear();
  m_sectionNames.clear();
  std::vector<Range>* open = nullptr;
  for (size_t i = 0; i < m_lines.size(); ++i) {
    if (m_lines[i].kind != Kind::kSection) continue;
    if (open) open->back().second = i;
    open = &m_sections[UpperAscii(m_lines[i].name)];
    if (open->empty()) m_sectionNames.push_back(m_lines[i].name);
    open->emplace_back(i, m_lines.size());
  }
}

std::optional<size_t> IniDocument::FindKey(Range range, std::string_view key) const {
  for (size_t i = range.first + 1; i < range.second; ++i) {
    if (m_lines[i].kind == Kind::kKey && EqualsNoCase(m_lines[i].name, key)) return i;
  }
  return std::nullopt;
}

size_t IniDocument::InsertionPoint(Range range) const {
  size_t last = range.first;
  for (size_t i = range.first + 1; i < range.second; ++i) {
    if (m_lines[i].kind != Kind::kBlank) last = i;
  }
  return last + 1;
}

void IniDocument::InsertLines(size_t at, std::vector<std::string> texts) {
  // Only the last line can lack a line end; it gets one before anything follows it.
  if (at > 0 && m_lines[at - 1].ending.empty()) m_lines[at - 1].ending = m_newline;
  std::vector<Line> added;
  added.reserve(texts.size());
  for (std::string& text : texts) added.push_back(MakeLine(std::move(text), m_newline));
  m_lines.insert(m_lines.begin() + at, std::make_move_iterator(added.begin()),
                 std::make_move_iterator(added.end()));
  Reindex();
}

void IniDocument::EraseRanges(const std::vector<Range>& ranges) {
  if (ranges.empty()) return;
  for (auto it = ranges.rbegin(); it != ranges.rend(); ++it) {
    m_lines.erase(m_lines.begin() + it->first, m_lines.begin() + it->second);
  }
  Reindex();
}

}  // namespace korad
