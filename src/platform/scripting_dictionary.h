// ScriptingDictionary: the "MvSystem.ScriptingCompatibleDictionary" component, an
// insertion-ordered map of text keys to Values with the classic scripting dictionary's
// behaviour, quirks included. State files of 100,000 items live in one, so lookups are
// hashed and removals never shift the items behind them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "contracts/value.h"
#include "platform/text_pool.h"

namespace korad {

// How keys compare: Binary byte for byte, Text ignoring ASCII case.
enum class CompareMode : int32_t { Binary = 0, Text = 1 };

class ScriptingDictionary {
 public:
  static constexpr std::string_view kClassId = "MvSystem.ScriptingCompatibleDictionary";

  ScriptingDictionary() = default;
  ~ScriptingDictionary();
  // Nobody needs a copy of a dictionary, and a silent one of 100,000 items would hurt.
  ScriptingDictionary(const ScriptingDictionary&) = delete;
  ScriptingDictionary& operator=(const ScriptingDictionary&) = delete;

  // Binary by default. Setting it raises 5 (invalid procedure call) unless the
  // dictionary is empty, since the keys already in it might collide under the new mode.
  CompareMode GetCompareMode() const noexcept { return m_mode; }
  void SetCompareMode(CompareMode mode);

  std::size_t Count() const noexcept { return m_used - m_dead; }
  bool Exists(std::string_view key) const { return Locate(key) != nullptr; }

  // Adds at the end; raises 457 if the key is present, and changes nothing then.
  void Add(std::string_view key, Value item);

  // Item get, with the classic quirk: a key that is missing is added with Empty. The
  // reference stays valid while items are added, until the next Remove or RemoveAll.
  Value& Item(std::string_view key);
  // Item get without the quirk: nullptr for a missing key, nothing is added. The same
  // validity as Item's reference.
  const Value* Find(std::string_view key) const;
  Value* Find(std::string_view key);
  // Item let: replaces the item of a present key in place, or adds the key at the end.
  // True when the key was added.
  bool SetItem(std::string_view key, Value item);

  // Raises 32811 (element not found) for a missing key.
  void Remove(std::string_view key);
  void RemoveAll() noexcept;
  // Removes, in one walk, every item for which doomed(std::string_view key, const Value&
  // item) is true, keeping the order of the others; the items are released once
  // the dictionary is consistent again. The predicate must not change the dictionary.
  // The number removed.
  template <class Predicate>
  std::size_t RemoveIf(Predicate&& doomed);
  // A key whose hash is worked out and whose part of the index is already on its way
  // into the cache, so that a lookup of it a little later doesn't wait: a load of many
  // keys in a row prepares the next key while it stores the current one. It views the
  // key's text, which must outlive it; a dictionary whose compare mode changed since
  // hashes the key again.
  struct PreparedKey {
    std::string_view key;
    uint32_t hash = 0;
    CompareMode mode = CompareMode::Binary;
  };
  PreparedKey Prepare(std::string_view key) const noexcept;
  bool Exists(const PreparedKey& key) const;
  void Add(const PreparedKey& key, Value item);
  bool SetItem(const PreparedKey& key, Value item);
  // Makes room for `count` items in all, so that filling it doesn't regrow the index.
  void Reserve(std::size_t count);

  // Key let: gives an item a new key, keeping its position. Raises 32811 if `key` is
  // missing and 457 if `newKey` belongs to another item; a new spelling of the same key
  // (Text mode) is allowed.
  void RenameKey(std::string_view key, std::string_view newKey);

  // Walks the items in insertion order one at a time, so that two dictionaries can be
  // walked side by side. The dictionary must not change meanwhile.
  class Cursor {
   public:
    explicit Cursor(const ScriptingDictionary& dictionary) noexcept : m_dictionary(dictionary) {}
    // The next item; false at the end.
    bool Next(std::string_view& key, const Value*& item) noexcept;

   private:
    const ScriptingDictionary& m_dictionary;
    std::size_t m_position = 0;
  };

  // Keys and items in insertion order.
  std::vector<std::string> Keys() const;
  std::vector<Value> Items() const;
  // Calls visit(std::string_view key, const Value& item) for each item in insertion
  // order, without copying; the visitor must not change the dictionary. A visitor that
  // takes the key as a const std::string& gets a copy of it.
  template <class Visitor>
  void ForEach(Visitor&& visit) const {
    std::size_t left = m_used;
    for (std::size_t chunk = 0; left > 0; ++chunk) {
      const std::size_t size = std::min(left, kFirstChunk << chunk);
      const Entry* entries = m_chunks[chunk].get();
      for (std::size_t i = 0; i < size; ++i) {
        if (!entries[i].live) continue;
        if constexpr (std::is_invocable_v<Visitor&, std::string_view, const Value&>) {
          visit(entries[i].key, entries[i].item);
        } else {
          visit(std::string(entries[i].key), entries[i].item);
        }
      }
      left -= size;
    }
  }

 private:
  // Entries sit in insertion order in chunks that never move, which is what keeps
  // references valid while items are added. Chunk k holds kFirstChunk << k entries.
  struct Entry {
    std::string_view key;  // in m_keys
    Value item;
    uint32_t hash = 0;
    bool live = false;
  };
  static constexpr unsigned kFirstChunkBits = 4;
  static constexpr std::size_t kFirstChunk = std::size_t{1} << kFirstChunkBits;

  // The index: open addressing with linear probing over a power-of-two table at most
  // half full. A slot holds an entry's position + 1 (0: free) and its key's hash, so
  // most probes that miss never touch the entry. Removal shifts the slots behind back,
  // so there are no tombstones to clean up.
  struct Slot {
    uint32_t entry = 0;
    uint32_t hash = 0;
  };

  Entry& At(std::size_t position) const noexcept;
  std::size_t Capacity() const noexcept;
  uint32_t Hash(std::string_view key) const noexcept;
  bool Equal(std::string_view a, std::string_view b) const noexcept;
  PreparedKey Hashed(std::string_view key) const noexcept { return {key, Hash(key), m_mode}; }
  uint32_t HashOf(const PreparedKey& key) const noexcept { return key.mode == m_mode ? key.hash : Hash(key.key); }
  // The slot holding `key`, or the free slot where it would go.
  std::size_t Probe(std::string_view key, uint32_t hash) const noexcept;
  Entry* Locate(std::string_view key) const;
  // Grows the index and the chunks so that `extra` more entries fit.
  void MakeRoom(std::size_t extra);
  void Rebuild(std::size_t slots);
  // Appends an entry whose free slot Probe found; room must have been made.
  Entry& Append(std::size_t slot, std::string_view key, uint32_t hash, Value item);
  void EraseSlot(std::size_t slot) noexcept;
  // Moves the live entries together; their keys move to a new pool when most of the
  // old one belongs to removed keys.
  void Compact();

  CompareMode m_mode = CompareMode::Binary;
  std::vector<std::unique_ptr<Entry[]>> m_chunks;
  std::size_t m_used = 0;  // entries in use, removed ones included
  std::size_t m_dead = 0;  // removed entries not yet compacted away
  std::vector<Slot> m_index;
  TextPool m_keys;
};

template <class Predicate>
std::size_t ScriptingDictionary::RemoveIf(Predicate&& doomed) {
  std::vector<Value> released;
  for (std::size_t position = 0; position < m_used; ++position) {
    Entry& entry = At(position);
    if (!entry.live || !doomed(entry.key, static_cast<const Value&>(entry.item))) continue;
    released.push_back(std::move(entry.item));
    entry.item = Value();
    entry.key = {};
    entry.live = false;
    ++m_dead;
  }
  if (!released.empty()) Compact();
  return released.size();
}

}  // namespace korad
