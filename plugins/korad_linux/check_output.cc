#include "korad_linux/check_output.h"

#include <cctype>

namespace korad {
namespace {

std::string_view Trim(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return text;
}

void AppendPart(std::string& into, std::string_view part, std::string_view separator) {
  part = Trim(part);
  if (part.empty()) return;
  if (!into.empty()) into.append(separator);
  into.append(part);
}

// "value[UOM]": the number is what reads as one, the unit what follows.
void SplitValue(std::string_view field, PerfDatum& datum) {
  if (field == "U") {
    datum.value.assign(field);
    return;
  }
  size_t end = 0;
  while (end < field.size() && (std::isdigit(static_cast<unsigned char>(field[end])) || field[end] == '.' ||
                                field[end] == '-' || field[end] == '+' || field[end] == ',')) {
    ++end;
  }
  datum.value = std::string(field.substr(0, end));
  datum.unit = std::string(field.substr(end));
}

}  // namespace

std::vector<PerfDatum> ParsePerfData(std::string_view text) {
  std::vector<PerfDatum> items;
  size_t i = 0;
  const size_t n = text.size();
  while (i < n) {
    while (i < n && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    if (i == n) break;
    PerfDatum datum;
    bool labelled = false;
    if (text[i] == '\'') {
      ++i;
      while (i < n) {
        if (text[i] == '\'') {
          if (i + 1 < n && text[i + 1] == '\'') {
            datum.label += '\'';
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        datum.label += text[i++];
      }
      labelled = i < n && text[i] == '=';
    } else {
      while (i < n && text[i] != '=' && !std::isspace(static_cast<unsigned char>(text[i]))) datum.label += text[i++];
      labelled = i < n && text[i] == '=';
    }
    if (!labelled || datum.label.empty()) {
      while (i < n && !std::isspace(static_cast<unsigned char>(text[i]))) ++i;
      continue;
    }
    ++i;  // '='
    const size_t start = i;
    while (i < n && !std::isspace(static_cast<unsigned char>(text[i]))) ++i;
    const std::string_view fields = text.substr(start, i - start);
    std::string* slots[] = {nullptr, &datum.warn, &datum.crit, &datum.min, &datum.max};
    size_t from = 0;
    for (size_t slot = 0; slot < std::size(slots) && from <= fields.size(); ++slot) {
      const size_t semicolon = fields.find(';', from);
      const std::string_view field = fields.substr(from, semicolon == std::string_view::npos ? std::string_view::npos
                                                                                            : semicolon - from);
      if (slot == 0) {
        SplitValue(field, datum);
      } else {
        *slots[slot] = std::string(field);
      }
      if (semicolon == std::string_view::npos) break;
      from = semicolon + 1;
    }
    items.push_back(std::move(datum));
  }
  return items;
}

CheckOutput ParseCheckOutput(std::string_view output) {
  CheckOutput result;
  bool first = true;
  bool inPerf = false;  // after the "|" of a further line every line is performance data
  while (!output.empty()) {
    const size_t newline = output.find('\n');
    std::string_view line = output.substr(0, newline);
    output.remove_prefix(newline == std::string_view::npos ? output.size() : newline + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (inPerf) {
      AppendPart(result.perfData, line, " ");
      continue;
    }
    const size_t bar = line.find('|');
    const std::string_view text = line.substr(0, bar);
    if (first) {
      result.text = std::string(Trim(text));
      first = false;
    } else {
      AppendPart(result.longText, text, "\n");
      if (bar != std::string_view::npos) inPerf = true;
    }
    if (bar != std::string_view::npos) AppendPart(result.perfData, line.substr(bar + 1), " ");
  }
  result.perf = ParsePerfData(result.perfData);
  return result;
}

}  // namespace korad
