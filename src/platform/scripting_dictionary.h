// ScriptingDictionary: the "MvSystem.ScriptingCompatibleDictionary" component, an
// insertion-ordered map of text keys to Values with the classic scripting dictionary's
// behaviour, quirks included. State files of 100,000 items live in one, so lookups are
// hashed and removals never shift the items behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/contracts/value.h"

namespace korad {

// How keys compare: Binary byte for byte, Text ignoring ASCII case.
enum class CompareMode : int32_t { Binary = 0, Text = 1 };

class ScriptingDictionary {
 public:
  static constexpr std::string_view kClassId = "MvSystem.ScriptingCompatibleDictionary";

  ScriptingDictionary();
  // The index points into the items, so a copy would have to rebuild it; nobody needs one.
  ScriptingDictionary(const ScriptingDictionary&) = delete;
  ScriptingDictionary& operator=(const ScriptingDictionary&) = delete;

  // Binary by default. Setting it raises 5 (invalid procedure call) unless the
  // dictionary is empty, since the keys already in it might collide under the new mode.
  CompareMode GetCompareMode() const noexcept { return m_mode; }
  void SetCompareMode(CompareMode mode);

  std::size_t Count() const noexcept { return m_slots.size() - m_dead; }
  bool Exists(std::string_view key) const { return Locate(key) != nullptr; }

  // Adds at the end; raises 457 if the key is present, and changes nothing then.
  void Add(std::string_view key, Value item);

  // Item get, with the classic quirk: a key that is missing is added with Empty. The
  // reference stays valid while items are added, until the next Remove or RemoveAll.
  Value& Item(std::string_view key);
  // Item get without the quirk: nullptr for a missing key, nothing is added.
  const Value* Find(std::string_view key) const;
  Value* Find(std::string_view key);
  // Item let: replaces the item of a present key in place, or adds the key at the end.
  void SetItem(std::string_view key, Value item);

  // Raises 32811 (element not found) for a missing key.
  void Remove(std::string_view key);
  void RemoveAll() noexcept;

  // Key let: gives an item a new key, keeping its position. Raises 32811 if `key` is
  // missing and 457 if `newKey` belongs to another item; a new spelling of the same key
  // (Text mode) is allowed.
  void RenameKey(std::string_view key, std::string_view newKey);

  // Keys and items in insertion order.
  std::vector<std::string> Keys() const;
  std::vector<Value> Items() const;
  // Calls visit(const std::string& key, const Value& item) for each item in insertion
  // order, without copying; the visitor must not change the dictionary.
  template <class Visitor>
  void ForEach(Visitor&& visit) const {
    for (const Slot& slot : m_slots) {
      if (slot.live) visit(slot.key, slot.item);
    }
  }

 private:
  struct Slot {
    std::string key;
    Value item;
    bool live = true;
  };
  struct KeyHash {
    CompareMode mode;
    std::size_t operator()(std::string_view key) const noexcept;
  };
  struct KeyEqual {
    CompareMode mode;
    bool operator()(std::string_view a, std::string_view b) const noexcept;
  };
  // Index keys view the slots' own key strings (a deque never moves its elements when
  // it grows at either end); the mapped number is the slot's sequence number, so that
  // dropping slots from the front needs no renumbering.
  using Index = std::unordered_map<std::string_view, std::size_t, KeyHash, KeyEqual>;

  Slot* Locate(std::string_view key) const;
  Slot& Append(std::string_view key, Value item);
  void Compact();

  CompareMode m_mode = CompareMode::Binary;
  std::deque<Slot> m_slots;
  std::size_t m_firstSequence = 0;  // sequence number of m_slots.front()
  std::size_t m_dead = 0;           // removed slots still in m_slots
  Index m_index;
};

}  // namespace korad
