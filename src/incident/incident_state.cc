#include "incident/incident_state.h"

#include <algorithm>

#include "contracts/error.h"
#include "contracts/text.h"
#include "platform/date_time_converter.h"

namespace korad {
namespace {

constexpr std::string_view kUtcSuffix = "UTC";

bool StartsWithMv(std::string_view key) {
  return key.size() >= 2 && (key[0] == 'm' || key[0] == 'M') && (key[1] == 'v' || key[1] == 'V');
}

// What NormalizeKey leaves as it is.
bool IsNormalized(std::string_view key) {
  if (!key.empty() && (key.front() == ' ' || key.back() == ' ')) return false;
  return std::none_of(key.begin(), key.end(), [](char c) { return c >= 'a' && c <= 'z'; });
}

bool EndsWithUtc(std::string_view key) {
  return key.size() >= kUtcSuffix.size() && EqualsNoCase(key.substr(key.size() - kUtcSuffix.size()), kUtcSuffix);
}

// Sets a flag for the life of a scope, so an error inside a twin operation can't leave
// the twin logic switched off for good.
class FlagScope {
 public:
  explicit FlagScope(bool& flag) : m_flag(flag) { m_flag = true; }
  ~FlagScope() { m_flag = false; }
  FlagScope(const FlagScope&) = delete;
  FlagScope& operator=(const FlagScope&) = delete;

 private:
  bool& m_flag;
};

}  // namespace

IncidentState::IncidentState() : m_normalizedMoniker(NormalizeKey(kGlobalMoniker)) {
  Guard("IncidentState.Class_Initialize: ", [&] { m_allConfigMonikers.SetCompareMode(CompareMode::Text); });
}

IncidentState::~IncidentState() {
  try {
    m_allConfigMonikers.RemoveAll();
    m_dictionary.reset();
  } catch (...) {
    // Nothing is left to report to at the end of the object.
  }
}

std::string IncidentState::RawKey(std::string_view moniker, std::string_view key) {
  std::string raw = NormalizeKey(moniker);
  raw += '-';
  raw += NormalizeKey(key);
  return raw;
}

void IncidentState::CreateDictionary() {
  Guard("IncidentState.CreateDictionary: ", [&] {
    if (!m_dictionary) m_dictionary = std::make_unique<ScriptingDictionary>();
  });
}

ScriptingDictionary& IncidentState::Dictionary() {
  CreateDictionary();
  return *m_dictionary;
}

void IncidentState::SetConfigMoniker(std::string_view moniker) {
  Guard("IncidentState.ConfigMoniker(Let): ", [&] {
    std::string normalized = NormalizeKey(moniker);
    if (normalized.empty()) {
      m_configMoniker = kGlobalMoniker;
      m_normalizedMoniker = NormalizeKey(kGlobalMoniker);
    } else {
      m_configMoniker = moniker;
      m_normalizedMoniker = std::move(normalized);
    }
  });
}

bool IncidentState::TwinEligible(std::string_view key, const Value& item) const {
  return !m_dateGuard && !StartsWithMv(key) && !EqualsNoCase(m_configMoniker, "MVGLOBAL") && IsDate(item);
}

void IncidentState::AddTwin(std::string_view key, const Value& item) {
  FlagScope guard(m_dateGuard);
  DateTimeConverter converter;
  if (EndsWithUtc(key)) {
    Add(key.substr(0, key.size() - kUtcSuffix.size()), Value(converter.UtcToLocal(item.ToDate())));
  } else {
    Add(std::string(key) + std::string(kUtcSuffix), Value(converter.LocalToUtc(item.ToDate())));
  }
}

bool IncidentState::OwnedByCurrentMoniker(std::string_view rawKey) const {
  const Value* owner = m_allConfigMonikers.Find(rawKey);
  if (owner == nullptr) RaiseRuntimeError(kErrInvalidCall);
  const std::string* text = owner->AsString();
  return EqualsNoCase(TrimBlanks(text ? std::string_view(*text) : std::string_view(owner->ToText())),
                      m_normalizedMoniker);
}

void IncidentState::Add(std::string_view key, const Value& item) {
  Guard("IncidentState.Add: ", [&] {
    CreateDictionary();
    if (TwinEligible(key, item)) AddTwin(key, item);
    const std::string raw = RawKey(m_configMoniker, key);
    if (Value* present = m_dictionary->Find(raw)) {
      *present = item;  // the owner isn't looked at: the entry keeps its moniker
      return;
    }
    m_dictionary->Add(raw, item);
    m_allConfigMonikers.Add(raw, Value(m_configMoniker));
  });
}

bool IncidentState::Exists(std::string_view key) {
  bool result = false;
  Guard("IncidentState.Exists: ", [&] {
    CreateDictionary();
    const std::string raw = RawKey(m_configMoniker, key);
    result = m_dictionary->Exists(raw) && !m_normalizedMoniker.empty() && OwnedByCurrentMoniker(raw);
  });
  return result;
}

Value IncidentState::Item(std::string_view key) {
  Value result;
  // The step and the raw key go into the error text: where a failing dictionary is
  // looked for first.
  char step = '0';
  std::string raw;
  TrapErrors(
      "",
      [&] {
        CreateDictionary();
        step = '1';
        raw = RawKey(m_configMoniker, key);
        step = '2';
        const Value* present = m_dictionary->Find(raw);
        step = '3';
        if (present == nullptr) return;
        step = '4';
        const bool owned = OwnedByCurrentMoniker(raw);
        step = '5';
        if (owned) result = *present;
        step = '6';
      },
      [&](const std::string& description, int32_t number) {
        ReportError("IncidentState.Item(Get:" + std::string(key) + " at " + step + " with " + raw + "): " + description,
                    number, true);
      });
  return result;
}

void IncidentState::LetItem(std::string_view key, const Value& item) {
  Guard("IncidentState.Item(Let): ", [&] {
    if (TwinEligible(key, item)) AddTwin(key, item);
    CreateDictionary();
    const std::string raw = RawKey(m_configMoniker, key);
    Value* present = m_dictionary->Find(raw);
    if (present == nullptr) RaiseLibraryError("The key '" + std::string(key) + "' does not exist. Cannot change.");
    if (OwnedByCurrentMoniker(raw)) *present = item;
  });
}

void IncidentState::SetItem(std::string_view key, ObjectRef item) {
  Guard("IncidentState.Item(Set): ", [&] {
    CreateDictionary();
    const std::string raw = RawKey(m_configMoniker, key);
    Value* present = m_dictionary->Find(raw);
    if (present == nullptr) RaiseLibraryError("The key '" + std::string(key) + "' does not exist. Cannot change.");
    if (OwnedByCurrentMoniker(raw)) *present = Value(std::move(item));
  });
}

std::vector<std::string> IncidentState::Keys() {
  std::vector<std::string> result;
  Guard("IncidentState.Keys: ", [&] {
    CreateDictionary();
    const std::size_t length = m_normalizedMoniker.size();
    m_dictionary->ForEach([&](std::string_view raw, const Value&) {
      if (raw.find('-') != length) return;
      if (NormalizeKey(raw.substr(0, length)) != m_normalizedMoniker) return;
      result.emplace_back(raw.substr(length + 1));
    });
  });
  return result;
}

int32_t IncidentState::Count() {
  int32_t result = 0;
  Guard("IncidentState.Count(Get): ", [&] {
    CreateDictionary();
    // Positions 1 to the dictionary's count of the ownership list: a dictionary changed
    // behind the list's back runs past its end.
    const std::size_t positions = m_dictionary->Count();
    std::size_t position = 0;
    int32_t owned = 0;
    m_allConfigMonikers.ForEach([&](std::string_view, const Value& moniker) {
      if (position++ >= positions) return;
      const std::string* text = moniker.AsString();
      if (text && EqualsNoCase(TrimBlanks(*text), m_normalizedMoniker)) ++owned;
    });
    if (m_allConfigMonikers.Count() < positions) RaiseRuntimeError(kErrSubscriptRange);
    result = owned;
  });
  return result;
}

void IncidentState::RemoveOwnedRawKey(std::string_view rawKey) {
  if (!m_dictionary->Exists(rawKey) || !OwnedByCurrentMoniker(rawKey)) return;
  m_dictionary->Remove(rawKey);
  m_allConfigMonikers.Remove(rawKey);
}

void IncidentState::Remove(std::string_view key) {
  Guard("IncidentState.Remove: ", [&] {
    const bool twinned = !m_dateGuard && IsDate(Item(key)) && !StartsWithMv(key) &&
                         !EqualsNoCase(m_configMoniker, "MVGLOBAL");
    if (twinned) {
      FlagScope guard(m_dateGuard);
      if (EndsWithUtc(key)) {
        Remove(key.substr(0, key.size() - kUtcSuffix.size()));
      } else {
        Remove(std::string(key) + std::string(kUtcSuffix));
      }
    }
    CreateDictionary();
    RemoveOwnedRawKey(RawKey(m_configMoniker, key));
    RemoveOwnedRawKey(NormalizeKey(key));
  });
}

void IncidentState::RemoveAll() { RemoveAllCheckingOwners(); }

bool IncidentState::RemoveAllCheckingOwners() {
  bool whole = false;
  Guard("IncidentState.RemoveAll: ", [&] {
    CreateDictionary();
    whole = RemoveOwnedInOneWalk();
    if (whole) return;
    for (const std::string& raw : m_dictionary->Keys()) Remove(raw);
  });
  return whole;
}

// Removing key by key takes exactly the entries the current moniker owns when every key
// is normalised and has a text ownership record: each key's own removal takes it if it is
// owned, and whatever else a removal reaches (the key under the moniker's prefix, a date's
// twin) goes only if owned too. Nothing can fail then, so the owned entries go in one
// walk. Otherwise nothing changes and the answer is false.
bool IncidentState::RemoveOwnedInOneWalk() {
  std::vector<char> doomed;
  doomed.reserve(m_dictionary->Count());
  bool clean = true;
  // The records are kept in the order their keys were added, as the dictionary is: walked
  // side by side, the two agree, and only a key out of step is looked up.
  ScriptingDictionary::Cursor records(m_allConfigMonikers);
  m_dictionary->ForEach([&](std::string_view raw, const Value&) {
    std::string_view recordKey;
    const Value* owner = nullptr;
    if (!records.Next(recordKey, owner) || recordKey != raw) owner = m_allConfigMonikers.Find(raw);
    const std::string* moniker = owner ? owner->AsString() : nullptr;
    if (!clean || moniker == nullptr || !IsNormalized(raw)) {
      clean = false;
      return;
    }
    doomed.push_back(EqualsNoCase(TrimBlanks(*moniker), m_normalizedMoniker));
  });
  if (!clean) return false;
  if (std::find(doomed.begin(), doomed.end(), true) == doomed.end()) return true;
  m_allConfigMonikers.RemoveIf([&](std::string_view raw, const Value& owner) {
    const std::string* moniker = owner.AsString();
    // The records compare ignoring case, the dictionary's keys are upper case.
    return moniker && EqualsNoCase(TrimBlanks(*moniker), m_normalizedMoniker) &&
           m_dictionary->Exists(IsNormalized(raw) ? raw : UpperAscii(raw));
  });
  std::size_t position = 0;
  m_dictionary->RemoveIf([&](std::string_view, const Value&) { return doomed[position++] != 0; });
  return true;
}

void IncidentState::RemoveRawKey(std::string_view rawKey) {
  Guard("IncidentState.RemoveRawKey: ", [&] {
    CreateDictionary();
    RemoveOwnedRawKey(NormalizeKey(rawKey));
  });
}

const DispatchTable<IncidentState>& IncidentState::Dispatch() {
  static const DispatchTable<IncidentState> table = [] {
    DispatchTable<IncidentState> t;
    using S = IncidentState;
    t.Property("Count", [](S& s) { return Value(s.Count()); });
    t.Property("CompareMode", [](S& s) { return Value(s.CompareMode()); },
               [](S& s, const Value& v) { s.SetCompareMode(v.ToLong()); });
    t.Property("PurgeMode", [](S& s) { return Value(s.PurgeMode()); },
               [](S& s, const Value& v) { s.SetPurgeMode(v.ToLong()); });
    t.Property("ConfigMoniker", [](S& s) { return Value(s.ConfigMoniker()); },
               [](S& s, const Value& v) { s.SetConfigMoniker(v.ToText()); });
    t.Call("RemoveAll", [](S& s) {
      s.RemoveAll();
      return Value();
    });
    t.Call("CreateDictionary", [](S& s) {
      s.CreateDictionary();
      return Value();
    });
    return t;
  }();
  return table;
}

}  // namespace korad
