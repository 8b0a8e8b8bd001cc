#include "incident/xml_serializer.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <unordered_map>
#include <unordered_set>

#include "contracts/error.h"
#include "contracts/text.h"
#include "foundation/file_functions.h"
#include "foundation/global_functions.h"
#include "incident/incident_state.h"
#include "incident/serialized_text.h"
#include "platform/file_system.h"
#include "platform/platform.h"
#include "platform/string_builder.h"

namespace korad {
namespace {

constexpr std::string_view kCategory = "Serializer";
constexpr std::string_view kHeaderLine = "[Serialize]";
constexpr std::string_view kUtcSuffix = "UTC";

bool EndsWithUtc(std::string_view key) {
  return key.size() >= kUtcSuffix.size() && EqualsNoCase(key.substr(key.size() - kUtcSuffix.size()), kUtcSuffix);
}

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() && EqualsNoCase(text.substr(0, prefix.size()), prefix);
}

bool ContainsNoCase(std::string_view text, std::string_view part) {
  if (part.empty()) return true;
  for (std::size_t at = 0; at + part.size() <= text.size(); ++at) {
    if (EqualsNoCase(text.substr(at, part.size()), part)) return true;
  }
  return false;
}

// Keys whose dates are universal: the product's own ("MV..."), items of the product's
// own under a configuration ("-MV"), and the UTC twins. Other dates are local twins,
// which the file doesn't carry.
bool CarriesUniversalDate(std::string_view rawKey) {
  return StartsWithNoCase(rawKey, "MV") || EndsWithUtc(rawKey) || ContainsNoCase(rawKey, "-MV");
}

// The filter test of a save, remembered per prefix: a state has few monikers and many
// keys, and the filter text can be long.
class ConfigFilter {
 public:
  explicit ConfigFilter(const std::vector<std::string>& configs) {
    for (const std::string& config : configs) {
      m_upperText += UpperAscii(config);
      m_upperText += '-';
    }
    if (configs.empty()) m_upperText = "-";
    // Each piece of the text between dashes is followed by one.
    for (std::size_t start = 0, dash; (dash = m_upperText.find('-', start)) != std::string::npos; start = dash + 1) {
      m_pieces.emplace(m_upperText, start, dash - start);
    }
  }

  // The prefix ends in its "-". A substring test, as it has always been: "PU1-" passes
  // on "CPU1-DISK-".
  bool Belongs(std::string_view prefix) {
    if (prefix == m_lastPrefix) return m_lastResult;
    auto found = m_memo.find(prefix);
    bool result;
    if (found != m_memo.end()) {
      result = found->second;
    } else {
      // A prefix holds one dash, at its end: one that names a whole piece occurs, and
      // only the others need the search through the text.
      const std::string upper = UpperAscii(prefix);
      result = EqualsNoCase(prefix, "MVGLOBAL-") || m_pieces.count(upper.substr(0, upper.size() - 1)) != 0 ||
               m_upperText.find(upper) != std::string::npos;
      m_memo.emplace(std::string(prefix), result);
    }
    m_lastPrefix.assign(prefix);
    m_lastResult = result;
    return result;
  }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
  };
  std::string m_upperText;
  std::unordered_set<std::string> m_pieces;
  std::unordered_map<std::string, bool, Hash, std::equal_to<>> m_memo;
  std::string m_lastPrefix{"\n"};  // matches no prefix
  bool m_lastResult = false;
};

// The room the text of a save will need, so it is built without regrowing.
std::size_t EstimateSize(const ScriptingDictionary& dictionary) {
  std::size_t size = 0;
  dictionary.ForEach([&](std::string_view key, const Value& value) {
    const std::string* text = value.AsString();
    size += key.size() + (text ? text->size() : 24) + 3;
  });
  return size + size / 16;
}

// One load of a state file into a state: each line's item and its owner's record, the
// twin of each date, and the trace lines when someone receives them.
class StateFileLoad {
 public:
  using PreparedKey = ScriptingDictionary::PreparedKey;
  struct Keys {
    PreparedKey inDictionary, inOwners;
  };

  StateFileLoad(IncidentState& state, DateTimeConverter& converter, std::string_view monitorId, bool recorded,
                std::size_t lineCount)
      : m_dictionary(state.Dictionary()),
        m_owners(state.AllConfigMonikers()),
        m_converter(converter),
        m_log(state.GetLogManager().get()),
        m_monitorId(monitorId),
        m_recorded(recorded) {
    // Room for every line at once: the index isn't rebuilt again and again as it fills.
    m_dictionary.Reserve(lineCount);
    m_owners.Reserve(lineCount);
  }

  // The keys of the reader's next line, hashed ahead of their use; blank at the end.
  Keys Prepare(LineReader& reader) const {
    std::string_view next;
    if (!reader.Next(next)) return {};
    const std::string_view key = next.substr(0, next.find('='));
    return {m_dictionary.Prepare(key), m_owners.Prepare(key)};
  }

  // Stores the item of one line, and its twin when it holds a date; false for a line
  // without a configuration moniker, which is left out.
  bool Store(std::string_view line, const Keys& keys) {
    if (line == kHeaderLine) return true;
    const std::size_t equals = line.find('=');
    const std::string_view key = line.substr(0, equals);
    std::string_view value;
    if (equals != std::string_view::npos) {
      value = line.substr(equals + 1);
      if (value.find(kEscapedLineEnd) != std::string_view::npos) {
        m_unescaped.clear();
        AppendUnescapingLineEnds(m_unescaped, value);
        value = m_unescaped;
      }
    }
    const std::size_t dash = key.find('-');
    if (m_log) Trace({"Checking for date on value = ", value});

    bool split = false;
    // Only the universal text is a date here: a plain date text stays text, without a twin.
    std::optional<OleDate> date = DateTimeConverter::FromUniversalText(value);
    std::string dateText;
    if (date) {
      if (m_log) Trace({value, " is a date - checking UTC or local (", key, ")"});
      if (CarriesUniversalDate(key)) {
        if (m_log) Trace({"UTC date determined"});
        split = EndsWithUtc(key);
      } else {
        // Files of older versions held local dates.
        if (m_log) Trace({"Local date determined"});
        split = true;
      }
      dateText = FormatDate(*date);
      value = dateText;
    }
    if (dash == std::string_view::npos) return false;

    if (m_log) Trace({"Adding ", key, " to state collection."});
    const std::string_view moniker = key.substr(0, dash);
    Record(keys, moniker, date ? Value(std::move(dateText)) : Value(value));
    if (m_log) Trace({"Split date = ", split ? "True" : "False"});
    if (!split) return true;
    if (EndsWithUtc(key)) {
      const std::string_view base = key.substr(0, key.size() - kUtcSuffix.size());
      if (m_log) Trace({"UTC date. Adding Local variant - ", base});
      RecordTwin(base, moniker, Value(m_converter.UtcToLocal(*date)));
    } else {
      const std::string utcKey = std::string(key) + std::string(kUtcSuffix);
      if (m_log) Trace({"Local date. Adding UTC variant - ", utcKey});
      RecordTwin(utcKey, moniker, Value(m_converter.LocalToUtc(*date)));
    }
    return true;
  }

 private:
  // Adds or replaces the item and records its owner unless one is recorded. A key new to
  // the dictionary is new to the records too, unless someone changed the dictionary
  // behind their back: only then is the record's lookup paid twice. A replaced key has
  // its record already when every key had one before the load.
  void Record(const Keys& keys, std::string_view moniker, Value value) {
    if (m_dictionary.SetItem(keys.inDictionary, std::move(value))) {
      try {
        m_owners.Add(keys.inOwners, Value(moniker));
      } catch (const Error&) {
        // recorded already: the first record stands
      }
    } else if (!m_recorded && !m_owners.Exists(keys.inOwners)) {
      m_owners.Add(keys.inOwners, Value(moniker));
    }
  }
  void RecordTwin(std::string_view rawKey, std::string_view moniker, Value value) {
    Record({m_dictionary.Prepare(rawKey), m_owners.Prepare(rawKey)}, moniker, std::move(value));
  }

  // Trace lines are built only when someone can receive them, in one reused buffer.
  void Trace(std::initializer_list<std::string_view> parts) {
    m_traceLine.clear();
    for (std::string_view part : parts) m_traceLine += part;
    m_log->Log(m_traceLine, m_monitorId, logLevelDebug);
  }

  ScriptingDictionary& m_dictionary;
  ScriptingDictionary& m_owners;
  DateTimeConverter& m_converter;
  ILogManager* m_log;
  std::string_view m_monitorId;
  bool m_recorded;
  std::string m_traceLine;
  std::string m_unescaped;  // only values that held a line end are copied before storing
};

}  // namespace

void XMLSerializer::SetSerializeLocation(std::string_view location) { m_folder.SetLocation(location); }

void XMLSerializer::SetCurrentConfigs(const Value& configs) {
  if (configs.IsEmpty()) {
    m_currentConfigs.reset();
    return;
  }
  if (configs.IsObject()) RaiseRuntimeError(kErrTypeMismatch);
  std::vector<std::string> names;
  const std::string text = configs.ToText();
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = text.find(',', start);
    names.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  m_currentConfigs = std::move(names);
}

std::string XMLSerializer::FilePath(std::string_view monitorId) const { return m_folder.FilePath("", monitorId); }

DateTimeConverter& XMLSerializer::Converter() {
  if (!m_converter) m_converter.emplace();
  return *m_converter;
}

void XMLSerializer::Save(const std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) {
  try {
    Converter();
    if (!incidentState) RaiseLibraryError("Invalid IncidentState");
    if (!m_currentConfigs) return;  // the engine sets them before every save
    SaveBody(*incidentState, monitorId);
  } catch (...) {
    LogSerializerFailure(incidentState.get(), "Serializer(Save)", monitorId, kCategory);
  }
}

void XMLSerializer::SaveBody(IncidentState& state, std::string_view monitorId) {
  ConfigFilter filter(*m_currentConfigs);
  ScriptingDictionary& dictionary = state.Dictionary();

  StringBuilder text(EstimateSize(dictionary));
  DateTimeConverter::TextBuffer dateText;
  std::vector<std::string> foreign;  // keys of configurations no longer in force
  dictionary.ForEach([&](std::string_view key, const Value& value) {
    const std::size_t dash = key.find('-');
    if (dash == std::string::npos || !filter.Belongs(key.substr(0, dash + 1))) {
      foreign.emplace_back(key);
      return;
    }
    if (IsDate(value)) {
      // A local twin isn't written: its UTC twin carries the date.
      if (!CarriesUniversalDate(key)) return;
      text.Append(key).Append("=").Append(DateTimeConverter::ToUniversalText(value.ToDate(), dateText));
    } else {
      text.Append(key).Append("=");
      if (const std::string* plain = value.AsString()) {
        AppendEscapingLineEnds(text, *plain);
      } else {
        AppendEscapingLineEnds(text, value.ToText());
      }
    }
    text.Append(kLineEnd);
  });
  // The dictionary can't change while it is walked, so the trimming follows the walk.
  for (const std::string& key : foreign) state.RemoveRawKey(key);

  m_folder.Write(FilePath(monitorId), text.Text());
}

Value XMLSerializer::Load(std::shared_ptr<IncidentState>& incidentState, std::string_view monitorId) {
  try {
    LoadBody(incidentState, monitorId);
  } catch (...) {
    LogSerializerFailure(incidentState.get(), "Serializer(Load)", monitorId, kCategory);
  }
  return Value();
}

void XMLSerializer::LoadBody(std::shared_ptr<IncidentState>& state, std::string_view monitorId) {
  if (!state) state = std::make_shared<IncidentState>();
  const bool recorded = state->RemoveAllCheckingOwners();

  const std::string path = FilePath(monitorId);
  const std::optional<std::string> file =
      ReadSerializedFile(path, state->GetLogManager(), "Serializer(Load) - ", kCategory);
  if (!file) return;  // a first run
  const std::string& content = *file;

  ILogManager* log = state->GetLogManager().get();
  // A last line without its end and lines without a moniker are allowed by the format:
  // worth a trace, not an error.
  LineReader lines(content);
  if (log && lines.EndedWithoutLineEnd()) {
    log->Log("Serializer(Load) - " + std::string(monitorId) + ": the last line of " + path +
                 " has no line end; the file may have been cut short",
             kCategory, logLevelDebug);
  }
  StateFileLoad load(*state, Converter(), monitorId, recorded,
                     static_cast<std::size_t>(std::count(content.begin(), content.end(), '\n')));
  // One line ahead: its key is prepared while this line is stored.
  LineReader ahead(content);
  StateFileLoad::Keys next = load.Prepare(ahead);
  std::string_view line;
  std::size_t dropped = 0, firstDropped = 0;
  while (lines.Next(line)) {
    const StateFileLoad::Keys keys = next;
    next = load.Prepare(ahead);
    if (!load.Store(line, keys) && !line.empty() && dropped++ == 0) firstDropped = lines.LineNumber();
  }

  if (log && dropped > 0) {
    log->Log("Serializer(Load) - " + std::string(monitorId) + ": dropped " + std::to_string(dropped) +
                 " line(s) of " + path + " without a configuration moniker (first at line " +
                 std::to_string(firstDropped) + ")",
             kCategory, logLevelDebug);
  }
}

const DispatchTable<XMLSerializer>& XMLSerializer::Dispatch() {
  static const DispatchTable<XMLSerializer> table = [] {
    DispatchTable<XMLSerializer> t;
    t.Property("SerializeLocation", [](XMLSerializer& s) { return Value(s.SerializeLocation()); },
               [](XMLSerializer& s, const Value& v) { s.SetSerializeLocation(v.ToText()); });
    t.Property("CurrentConfigs", nullptr, [](XMLSerializer& s, const Value& v) { s.SetCurrentConfigs(v); });
    return t;
  }();
  return table;
}

}  // namespace korad
