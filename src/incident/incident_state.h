// IncidentState: a monitor's memory between runs, key and value pairs kept on disk by the
// state serializer. One object serves every configuration of a monitor: each key lives
// under a configuration moniker, and a plug-in sees only those of the current moniker.
// A date stored under a key is also stored, converted, under the key with "UTC" behind
// it (and the other way round), so local and universal time can both be read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/error_reporter.h"
#include "contracts/object.h"
#include "platform/scripting_dictionary.h"

namespace korad {

class IncidentState final : public Dispatchable<IncidentState>, public ErrorReporter {
 public:
  static constexpr std::string_view kClassId = "KORADevServices.IncidentState";
  static constexpr std::string_view kGlobalMoniker = "Global";

  IncidentState();
  ~IncidentState() override;
  IncidentState(const IncidentState&) = delete;
  IncidentState& operator=(const IncidentState&) = delete;

  std::string_view ClassId() const noexcept override { return kClassId; }
  static const DispatchTable<IncidentState>& Dispatch();

  // Adds the key under the current moniker, or replaces the value of a key that is
  // already in the dictionary (whoever owns it). A date gets its twin.
  void Add(std::string_view key, const Value& item);
  // True only for a key the current moniker owns.
  bool Exists(std::string_view key);
  // The value of a key the current moniker owns; Empty otherwise, with no error.
  Value Item(std::string_view key);
  // Item let: changes an existing key (a date's twin is made if missing); raises "The key
  // '...' does not exist. Cannot change." for a missing one.
  void LetItem(std::string_view key, const Value& item);
  // Item set: as LetItem for an object, without twins.
  void SetItem(std::string_view key, ObjectRef item);
  // The keys of the current moniker, without their prefix, in dictionary order. A
  // moniker that holds a "-" shows none, though Item reads them.
  std::vector<std::string> Keys();
  int32_t Count();
  // Removes a key of the current moniker, and its twin when it holds a date. A raw key
  // ("MONIKER-KEY") is taken too, which is what RemoveAll relies on.
  void Remove(std::string_view key);
  // Removes the current moniker's keys; those of other monikers stay.
  void RemoveAll();
  // Retained: read 0, ignore what they are told.
  int32_t CompareMode() const noexcept { return 0; }
  void SetCompareMode(int32_t) noexcept {}
  int32_t PurgeMode() const noexcept { return 0; }
  void SetPurgeMode(int32_t) noexcept {}

  // Internal surface, for the engine and the serializer.
  void CreateDictionary();
  // Removes a raw key ("MONIKER-KEY") that the current moniker owns.
  void RemoveRawKey(std::string_view rawKey);
  const std::string& ConfigMoniker() const noexcept { return m_configMoniker; }
  // A value that normalises to nothing selects "Global".
  void SetConfigMoniker(std::string_view moniker);
  // Raw keys (upper case) to values, created on first use. Changing it directly skips
  // the ownership records, which only the serializer and tests should do.
  ScriptingDictionary& Dictionary();
  // Raw key to the moniker as it was written when the key was added: the proof of
  // ownership of each dictionary entry, in insertion order. Keys compare ignoring case.
  ScriptingDictionary& AllConfigMonikers() noexcept { return m_allConfigMonikers; }

  // RemoveAll, and true when every key left has an ownership record for sure: a load
  // that replaces an item then needn't look its record up.
  bool RemoveAllCheckingOwners();

  // "MONIKER-KEY" for the normalised moniker and key.
  static std::string RawKey(std::string_view moniker, std::string_view key);

 private:
  // The twin rule: not inside a twin operation, the key doesn't begin with "MV", the
  // moniker isn't "MVGLOBAL", and the value reads as a date.
  bool TwinEligible(std::string_view key, const Value& item) const;
  // Adds the other member of a date pair (key + "UTC" or key less "UTC").
  void AddTwin(std::string_view key, const Value& item);
  // Whether the current moniker owns `rawKey`; raises 5 if the key has no ownership
  // record, as a keyed list does for a missing key.
  bool OwnedByCurrentMoniker(std::string_view rawKey) const;
  void RemoveOwnedRawKey(std::string_view rawKey);
  // RemoveAll in one walk, when that is sure to do what removing key by key does.
  bool RemoveOwnedInOneWalk();

  std::unique_ptr<ScriptingDictionary> m_dictionary;
  ScriptingDictionary m_allConfigMonikers;
  std::string m_configMoniker{kGlobalMoniker};
  std::string m_normalizedMoniker;
  bool m_dateGuard = false;
};

using IncidentStateRef = std::shared_ptr<IncidentState>;

}  // namespace korad
