#include "ctl_format.h"

#include <cstdio>
#include <vector>

#include "contracts/ole_date.h"
#include "contracts/text.h"
#include "foundation/attributes.h"
#include "incident/incident_form.h"
#include "platform/connector_message.h"
#include "platform/date_time_converter.h"

namespace korad::ctl {
namespace {

constexpr std::string_view kSeparator = " | ";
constexpr std::string_view kHeartbeatLineEnd = "***mvCrLf***";

void AppendHex(std::string& out, unsigned char byte) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "\\x%02X", byte);
  out += buffer;
}

// A body line: tab stays, other control bytes (a lone CR among them) become "\xNN".
std::string BodyLine(std::string_view line) {
  std::string text;
  text.reserve(line.size());
  for (const char c : line) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 && c != '\t') {
      AppendHex(text, byte);
    } else if (byte == 0x7F) {
      AppendHex(text, byte);
    } else {
      text += c;
    }
  }
  return text;
}

std::string_view AlertStatusName(int32_t status) {
  switch (status) {
    case AlertOff: return "AlertOff";
    case AlertOn: return "AlertOn";
    case AlertOnce: return "AlertOnce";
    case AlertOffPending: return "AlertOffPending";
    default: return "merged";
  }
}

std::string Dash(std::string_view text) { return text.empty() ? std::string("-") : OneLine(text); }

}  // namespace

std::string OneLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\r') {
      line += "\\r";
    } else if (c == '\n') {
      line += "\\n";
    } else if (byte < 0x20 || byte == 0x7F) {
      AppendHex(line, byte);
    } else {
      line += c;
    }
  }
  return line;
}

std::string UniversalTime(OleDate utc) {
  return utc.IsZero() ? std::string("-") : DateTimeConverter::ToUniversalText(utc);
}

void WriteQueueLine(std::ostream& out, std::string_view id, int64_t count, std::string_view folder) {
  out << OneLine(id) << kSeparator << (count < 0 ? std::string("-") : std::to_string(count)) << kSeparator
      << OneLine(folder) << (count < 0 ? " (missing)" : "") << '\n';
}

void WriteMessage(std::ostream& out, size_t position, const ConnectorMessage& message) {
  out << "message " << position << kSeparator << Dash(message.MessageId()) << kSeparator << "sent "
      << UniversalTime(message.SentUtc()) << kSeparator << "to " << Dash(message.TargetQueue()) << kSeparator
      << "ttl " << message.TimeToLive() << kSeparator << "priority " << message.Priority() << kSeparator
      << "entity " << message.EntityId() << kSeparator << "source " << Dash(message.EventSourceId())
      << kSeparator << message.Body().size() << " bytes\n";
  std::string_view body = message.Body();
  while (!body.empty()) {
    size_t end = body.find('\n');
    std::string_view line = body.substr(0, end);
    body.remove_prefix(end == std::string_view::npos ? body.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    out << "  " << BodyLine(line) << '\n';
  }
}

void WriteIncident(std::ostream& out, const IncidentSummary& incident, bool verbose) {
  out << Dash(incident.time) << kSeparator << incident.status << kSeparator << Dash(incident.resource) << kSeparator
      << Dash(incident.condition) << kSeparator;
  if (incident.keyAttributes.empty()) out << '-';
  for (size_t i = 0; i < incident.keyAttributes.size(); ++i) {
    if (i > 0) out << ", ";
    out << OneLine(incident.keyAttributes[i].first) << '=' << OneLine(incident.keyAttributes[i].second);
  }
  out << '\n';
  if (!verbose) return;
  for (const auto& [key, value] : incident.attributes) out << "    " << OneLine(key) << '=' << OneLine(value) << '\n';
}

void WriteStateFileLine(std::ostream& out, std::string_view path, bool exists, size_t itemCount) {
  out << "state file" << kSeparator << OneLine(path) << kSeparator;
  if (exists) {
    out << itemCount << " item(s)\n";
  } else {
    out << "missing\n";
  }
}

void WriteStateItem(std::ostream& out, std::string_view configuration, std::string_view key, std::string_view value) {
  out << "state" << kSeparator << OneLine(configuration) << kSeparator << OneLine(key) << kSeparator << OneLine(value)
      << '\n';
}

void WriteFormFileLine(std::ostream& out, std::string_view path, bool exists, size_t formCount) {
  out << "form file" << kSeparator << OneLine(path) << kSeparator;
  if (exists) {
    out << formCount << " form(s)\n";
  } else {
    out << "missing\n";
  }
}

void WriteForm(std::ostream& out, size_t position, const IncidentForm& form) {
  const std::string head = "form " + std::to_string(position);
  out << head << kSeparator << Dash(form.ConfigMoniker()) << kSeparator << Dash(form.Resource()) << kSeparator
      << Dash(form.Condition()) << kSeparator << AlertStatusName(form.AlertStatus()) << kSeparator << "priority "
      << form.Priority() << kSeparator << "polls send " << form.MVSendAlertPolls() << " resolve "
      << form.MVResolveAlertPolls() << kSeparator << "processed " << (form.ProcessedByMM() ? "True" : "False")
      << kSeparator << "keys " << Dash(form.KeyAttributes()) << kSeparator << "occurred " << DateTimeConverter::ToPlainText(form.OccurrenceTime()) << '\n';
  for (const AttributeRef& attribute : *form.GetAttributes()) {
    out << head << kSeparator << "attribute" << kSeparator << OneLine(attribute->Key()) << kSeparator
        << OneLine(attribute->Value().ToText()) << '\n';
  }
}

void WriteHeartbeat(std::ostream& out, std::string_view module, std::string_view date, std::string_view error) {
  const std::string head = OneLine(module);
  std::vector<std::string_view> lines;
  for (std::string_view rest = error;;) {
    const size_t end = rest.find(kHeartbeatLineEnd);
    lines.push_back(rest.substr(0, end));
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + kHeartbeatLineEnd.size());
  }
  while (!lines.empty() && TrimBlanks(lines.back()).empty()) lines.pop_back();
  out << head << kSeparator << Dash(date) << kSeparator << (lines.empty() ? "no error" : "error:") << '\n';
  for (std::string_view line : lines) {
    out << head << " |";
    if (!line.empty()) out << "   " << OneLine(line);
    out << '\n';
  }
}

}  // namespace korad::ctl
