// The file form of a message:
//
//   KORAD-Message: 1
//   Sent: 1705320000000            (Unix milliseconds, UTC; absent before sending)
//   TimeToLive: 1209600
//   Priority: 0
//   EntityID: 42
//   TargetQueue: mvIncidentQ
//   EventSourceID: 00000000-0000-0000-0000-000000000001
//   Body-Length: 123
//   <empty line>
//   <exactly Body-Length bytes of body>
//
// Header lines end in "\n" (a "\r" before it is tolerated for files edited by hand).
// In header values "%", CR and LF are written as %25, %0D and %0A, so a value can't
// end the header early. The body is copied as it is, so any bytes survive, and its
// stated length catches a file cut short. Unknown header names are skipped, which
// lets a newer writer add fields.
#include "platform/connector_message.h"

#include <charconv>
#include <optional>

#include "contracts/error.h"

namespace korad {
namespace {

constexpr std::string_view kMagicLine = "KORAD-Message: 1";

std::string EscapeHeaderValue(std::string_view value) {
  std::string escaped;
  escaped.reserve(value.size());
  for (char c : value) {
    switch (c) {
      case '%': escaped += "%25"; break;
      case '\r': escaped += "%0D"; break;
      case '\n': escaped += "%0A"; break;
      default: escaped += c;
    }
  }
  return escaped;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

[[noreturn]] void RaiseMalformed(std::string_view what) {
  RaiseLibraryError("Malformed connector message: " + std::string(what));
}

std::string UnescapeHeaderValue(std::string_view value) {
  std::string plain;
  plain.reserve(value.size());
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '%') {
      plain += value[i];
      continue;
    }
    int high = i + 2 < value.size() ? HexDigit(value[i + 1]) : -1;
    int low = high >= 0 ? HexDigit(value[i + 2]) : -1;
    if (low < 0) RaiseMalformed("bad escape in header value '" + std::string(value) + "'");
    plain += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return plain;
}

template <class Int>
Int ParseInteger(std::string_view name, std::string_view text) {
  Int number{};
  auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (ec != std::errc() || end != text.data() + text.size()) {
    RaiseMalformed("header " + std::string(name) + " is not a number: '" + std::string(text) + "'");
  }
  return number;
}

void AppendHeader(std::string& out, std::string_view name, std::string_view value) {
  out.append(name).append(": ").append(value).append("\n");
}

// Cuts the next line off `rest`; nullopt when no line end is left.
std::optional<std::string_view> NextLine(std::string_view& rest) {
  size_t end = rest.find('\n');
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view line = rest.substr(0, end);
  rest.remove_prefix(end + 1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

}  // namespace

bool ConnectorMessage::IsExpired(OleDate utcNow) const noexcept {
  if (m_timeToLive <= 0) return false;
  // In whole milliseconds, as the time is stored: a difference of day fractions can come
  // out a hair short of the time to live at exactly that age.
  return utcNow.ToUnixMillis() - m_sentUtc.ToUnixMillis() >= int64_t{m_timeToLive} * 1000;
}

std::string ConnectorMessage::ToFileText() const {
  std::string text;
  text.reserve(256 + m_body.size());
  text.append(kMagicLine).append("\n");
  if (!m_sentUtc.IsZero()) AppendHeader(text, "Sent", std::to_string(m_sentUtc.ToUnixMillis()));
  AppendHeader(text, "TimeToLive", std::to_string(m_timeToLive));
  AppendHeader(text, "Priority", std::to_string(m_priority));
  AppendHeader(text, "EntityID", std::to_string(m_entityId));
  AppendHeader(text, "TargetQueue", EscapeHeaderValue(m_targetQueue));
  AppendHeader(text, "EventSourceID", EscapeHeaderValue(m_eventSourceId));
  AppendHeader(text, "Body-Length", std::to_string(m_body.size()));
  text.append("\n").append(m_body);
  return text;
}

ConnectorMessage ConnectorMessage::FromFileText(std::string_view text) {
  std::string_view rest = text;
  std::optional<std::string_view> line = NextLine(rest);
  if (!line || *line != kMagicLine) RaiseMalformed("not a message file");

  ConnectorMessage message;
  std::optional<size_t> bodyLength;
  for (;;) {
    line = NextLine(rest);
    if (!line) RaiseMalformed("the header has no end");
    if (line->empty()) break;
    size_t colon = line->find(": ");
    if (colon == std::string_view::npos) RaiseMalformed("header line without a value: '" + std::string(*line) + "'");
    std::string_view name = line->substr(0, colon);
    std::string_view value = line->substr(colon + 2);
    if (name == "Sent") {
      message.m_sentUtc = OleDate::FromUnixMillis(ParseInteger<int64_t>(name, value));
    } else if (name == "TimeToLive") {
      message.m_timeToLive = ParseInteger<int32_t>(name, value);
    } else if (name == "Priority") {
      message.m_priority = ParseInteger<int32_t>(name, value);
    } else if (name == "EntityID") {
      message.m_entityId = ParseInteger<int32_t>(name, value);
    } else if (name == "TargetQueue") {
      message.m_targetQueue = UnescapeHeaderValue(value);
    } else if (name == "EventSourceID") {
      message.m_eventSourceId = UnescapeHeaderValue(value);
    } else if (name == "Body-Length") {
      bodyLength = ParseInteger<size_t>(name, value);
    }
  }
  if (!bodyLength) RaiseMalformed("no Body-Length header");
  if (*bodyLength != rest.size()) {
    RaiseMalformed("body of " + std::to_string(rest.size()) + " bytes where " + std::to_string(*bodyLength) +
                   " were stated");
  }
  message.m_body.assign(rest);
  return message;
}

const DispatchTable<ConnectorMessage>& ConnectorMessage::Dispatch() {
  static const DispatchTable<ConnectorMessage> table = [] {
    using M = ConnectorMessage;
    DispatchTable<M> t;
    t.Property("Body", [](M& m) { return Value(m.Body()); }, [](M& m, const Value& v) { m.SetBody(v.ToText()); });
    t.Property("TimeToLive", [](M& m) { return Value(m.TimeToLive()); },
               [](M& m, const Value& v) { m.SetTimeToLive(v.ToLong()); });
    t.Property("Priority", [](M& m) { return Value(m.Priority()); },
               [](M& m, const Value& v) { m.SetPriority(v.ToLong()); });
    t.Property("EntityID", [](M& m) { return Value(m.EntityId()); },
               [](M& m, const Value& v) { m.SetEntityId(v.ToLong()); });
    t.Property("TargetQueue", [](M& m) { return Value(m.TargetQueue()); },
               [](M& m, const Value& v) { m.SetTargetQueue(v.ToText()); });
    t.Property("EventSourceID", [](M& m) { return Value(m.EventSourceId()); },
               [](M& m, const Value& v) { m.SetEventSourceId(v.ToText()); });
    t.Property("SentTime", [](M& m) { return Value(m.SentUtc()); });
    t.Property("MessageID", [](M& m) { return Value(m.MessageId()); });
    return t;
  }();
  return table;
}

}  // namespace korad
