#include "platform/scripting_dictionary.h"

#include <bit>
#include <cstring>
#include <new>
#include <utility>

#include "contracts/error.h"
#include "contracts/text.h"

namespace korad {
namespace {

constexpr uint64_t kSeed = 0x9e3779b97f4a7c15ull;
constexpr uint64_t kMultiplier = 0xa0761d6478bd642full;
constexpr uint64_t kLowBits = 0x7f7f7f7f7f7f7f7full;
constexpr uint64_t kHighBits = 0x8080808080808080ull;
constexpr uint64_t kBytes = 0x0101010101010101ull;
constexpr std::size_t kSmallestIndex = 16;
// Removed entries wait for a compaction until they are this many and outnumber the
// live ones, so its cost is paid for by the removals since the last one.
constexpr std::size_t kDeadBeforeCompaction = 64;

// The high and low halves of the 128-bit product, folded: a cheap mix whose every
// output bit depends on every input bit.
uint64_t Mix(uint64_t a, uint64_t b) noexcept {
  const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
  return static_cast<uint64_t>(product) ^ static_cast<uint64_t>(product >> 64);
}

// Upper-cases the ASCII letters of eight bytes at once, as EqualsNoCase compares them;
// bytes from 0x80 up stay as they are.
uint64_t UpperCaseBytes(uint64_t word) noexcept {
  const uint64_t low = word & kLowBits;
  const uint64_t fromA = low + (0x80 - 'a') * kBytes;      // high bit set from 'a' up
  const uint64_t pastZ = low + (0x80 - 'z' - 1) * kBytes;  // high bit set past 'z'
  const uint64_t lower = fromA & ~pastZ & ~word & kHighBits;
  return word & ~(lower >> 2);  // 0x80 >> 2 is the case bit 0x20
}

}  // namespace

ScriptingDictionary::~ScriptingDictionary() = default;

ScriptingDictionary::Entry& ScriptingDictionary::At(std::size_t position) const noexcept {
  const std::size_t biased = position + kFirstChunk;
  const std::size_t chunk = static_cast<std::size_t>(std::bit_width(biased)) - 1 - kFirstChunkBits;
  return m_chunks[chunk][biased - (kFirstChunk << chunk)];
}

std::size_t ScriptingDictionary::Capacity() const noexcept {
  return kFirstChunk * ((std::size_t{1} << m_chunks.size()) - 1);
}

uint32_t ScriptingDictionary::Hash(std::string_view key) const noexcept {
  const bool fold = m_mode == CompareMode::Text;
  uint64_t hash = kSeed ^ key.size();
  std::size_t at = 0;
  for (; at + sizeof(uint64_t) <= key.size(); at += sizeof(uint64_t)) {
    uint64_t word;
    std::memcpy(&word, key.data() + at, sizeof word);
    hash = Mix(hash ^ (fold ? UpperCaseBytes(word) : word), kMultiplier);
  }
  if (at < key.size()) {
    uint64_t word = 0;
    std::memcpy(&word, key.data() + at, key.size() - at);
    hash = Mix(hash ^ (fold ? UpperCaseBytes(word) : word), kMultiplier);
  }
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

bool ScriptingDictionary::Equal(std::string_view a, std::string_view b) const noexcept {
  return m_mode == CompareMode::Text ? EqualsNoCase(a, b) : a == b;
}

std::size_t ScriptingDictionary::Probe(std::string_view key, uint32_t hash) const noexcept {
  const std::size_t mask = m_index.size() - 1;
  for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
    const Slot& at = m_index[slot];
    if (at.entry == 0 || (at.hash == hash && Equal(At(at.entry - 1).key, key))) return slot;
  }
}

ScriptingDictionary::Entry* ScriptingDictionary::Locate(std::string_view key) const {
  if (m_index.empty()) return nullptr;
  const Slot& slot = m_index[Probe(key, Hash(key))];
  return slot.entry == 0 ? nullptr : &At(slot.entry - 1);
}

void ScriptingDictionary::MakeRoom(std::size_t extra) {
  const std::size_t needed = Count() + extra;
  if (needed * 2 > m_index.size()) {
    std::size_t slots = m_index.empty() ? kSmallestIndex : m_index.size();
    while (needed * 2 > slots) slots *= 2;
    Rebuild(slots);
  }
  while (Capacity() < m_used + extra) {
    m_chunks.push_back(std::make_unique<Entry[]>(kFirstChunk << m_chunks.size()));
  }
}

void ScriptingDictionary::Rebuild(std::size_t slots) {
  std::vector<Slot> index(slots);
  const std::size_t mask = slots - 1;
  for (std::size_t position = 0; position < m_used; ++position) {
    const Entry& entry = At(position);
    if (!entry.live) continue;
    std::size_t slot = entry.hash & mask;
    while (index[slot].entry != 0) slot = (slot + 1) & mask;
    index[slot] = Slot{static_cast<uint32_t>(position + 1), entry.hash};
  }
  m_index = std::move(index);
}

ScriptingDictionary::Entry& ScriptingDictionary::Append(std::size_t slot, std::string_view key, uint32_t hash,
                                                        Value item) {
  Entry& entry = At(m_used);
  entry.key = m_keys.Store(key);  // the only step that can fail, and it changes nothing visible
  entry.item = std::move(item);
  entry.hash = hash;
  entry.live = true;
  m_index[slot] = Slot{static_cast<uint32_t>(m_used + 1), hash};
  ++m_used;
  return entry;
}

// Linear probing's removal: the slots after the freed one move back into it when their
// home slot lies at or before it, so every key stays reachable from its home.
void ScriptingDictionary::EraseSlot(std::size_t slot) noexcept {
  const std::size_t mask = m_index.size() - 1;
  std::size_t next = slot;
  while (true) {
    next = (next + 1) & mask;
    if (m_index[next].entry == 0) break;
    const std::size_t home = m_index[next].hash & mask;
    const bool stays = slot <= next ? (slot < home && home <= next) : (slot < home || home <= next);
    if (stays) continue;
    m_index[slot] = m_index[next];
    slot = next;
  }
  m_index[slot] = Slot{};
}

void ScriptingDictionary::SetCompareMode(CompareMode mode) {
  if (Count() != 0) RaiseRuntimeError(kErrInvalidCall);
  RemoveAll();
  m_mode = mode;
}

void ScriptingDictionary::Add(std::string_view key, Value item) { Add(Hashed(key), std::move(item)); }

void ScriptingDictionary::Add(const PreparedKey& key, Value item) {
  MakeRoom(1);
  const uint32_t hash = HashOf(key);
  const std::size_t slot = Probe(key.key, hash);
  if (m_index[slot].entry != 0) RaiseRuntimeError(kErrDuplicateKey);
  Append(slot, key.key, hash, std::move(item));
}

Value& ScriptingDictionary::Item(std::string_view key) {
  MakeRoom(1);
  const uint32_t hash = Hash(key);
  const std::size_t slot = Probe(key, hash);
  if (m_index[slot].entry != 0) return At(m_index[slot].entry - 1).item;
  return Append(slot, key, hash, Value()).item;
}

const Value* ScriptingDictionary::Find(std::string_view key) const {
  const Entry* entry = Locate(key);
  return entry ? &entry->item : nullptr;
}

Value* ScriptingDictionary::Find(std::string_view key) {
  Entry* entry = Locate(key);
  return entry ? &entry->item : nullptr;
}

bool ScriptingDictionary::SetItem(std::string_view key, Value item) { return SetItem(Hashed(key), std::move(item)); }

bool ScriptingDictionary::SetItem(const PreparedKey& key, Value item) {
  MakeRoom(1);
  const uint32_t hash = HashOf(key);
  const std::size_t slot = Probe(key.key, hash);
  if (m_index[slot].entry != 0) {
    At(m_index[slot].entry - 1).item = std::move(item);
    return false;
  }
  Append(slot, key.key, hash, std::move(item));
  return true;
}

void ScriptingDictionary::Remove(std::string_view key) {
  if (m_index.empty()) RaiseRuntimeError(kErrElementNotFound);
  const std::size_t slot = Probe(key, Hash(key));
  if (m_index[slot].entry == 0) RaiseRuntimeError(kErrElementNotFound);
  Entry& entry = At(m_index[slot].entry - 1);
  EraseSlot(slot);
  entry.live = false;
  ++m_dead;
  // Let go of the item now: it may be an object that others wait to see released.
  Value released = std::move(entry.item);
  entry.item = Value();
  entry.key = {};
  // Removed entries at the end go at once; those before wait for a compaction.
  while (m_used > 0 && !At(m_used - 1).live) {
    --m_used;
    --m_dead;
  }
  if (m_dead > kDeadBeforeCompaction && m_dead > Count()) Compact();
}

void ScriptingDictionary::RemoveAll() noexcept {
  // The items are released after the dictionary is consistent again: releasing an object
  // may run code that looks at it.
  std::vector<std::unique_ptr<Entry[]>> released = std::move(m_chunks);
  TextPool releasedKeys = std::move(m_keys);
  m_keys.Clear();
  m_chunks.clear();
  m_index = std::vector<Slot>();
  m_used = 0;
  m_dead = 0;
}

ScriptingDictionary::PreparedKey ScriptingDictionary::Prepare(std::string_view key) const noexcept {
  PreparedKey prepared = Hashed(key);
  if (!m_index.empty()) __builtin_prefetch(&m_index[prepared.hash & (m_index.size() - 1)]);
  return prepared;
}

bool ScriptingDictionary::Exists(const PreparedKey& key) const {
  return !m_index.empty() && m_index[Probe(key.key, HashOf(key))].entry != 0;
}

void ScriptingDictionary::Reserve(std::size_t count) {
  if (count > Count()) MakeRoom(count - Count());
}

void ScriptingDictionary::RenameKey(std::string_view key, std::string_view newKey) {
  if (m_index.empty()) RaiseRuntimeError(kErrElementNotFound);
  const std::size_t slot = Probe(key, Hash(key));
  if (m_index[slot].entry == 0) RaiseRuntimeError(kErrElementNotFound);
  const uint32_t entryNumber = m_index[slot].entry;
  const uint32_t newHash = Hash(newKey);
  if (!Equal(key, newKey) && m_index[Probe(newKey, newHash)].entry != 0) RaiseRuntimeError(kErrDuplicateKey);
  Entry& entry = At(entryNumber - 1);
  const std::string_view spelled = m_keys.Store(newKey);
  EraseSlot(slot);
  entry.key = spelled;
  entry.hash = newHash;
  m_index[Probe(entry.key, newHash)] = Slot{entryNumber, newHash};
}

bool ScriptingDictionary::Cursor::Next(std::string_view& key, const Value*& item) noexcept {
  while (m_position < m_dictionary.m_used) {
    const Entry& entry = m_dictionary.At(m_position++);
    if (!entry.live) continue;
    key = entry.key;
    item = &entry.item;
    return true;
  }
  return false;
}

std::vector<std::string> ScriptingDictionary::Keys() const {
  std::vector<std::string> keys;
  keys.reserve(Count());
  ForEach([&](std::string_view key, const Value&) { keys.emplace_back(key); });
  return keys;
}

std::vector<Value> ScriptingDictionary::Items() const {
  std::vector<Value> items;
  items.reserve(Count());
  ForEach([&](std::string_view, const Value& item) { items.push_back(item); });
  return items;
}

// Moves the live entries together and renumbers them, then gives back the chunks that
// are no longer needed.
void ScriptingDictionary::Compact() {
  std::size_t write = 0;
  for (std::size_t read = 0; read < m_used; ++read) {
    Entry& from = At(read);
    if (!from.live) continue;
    if (write != read) {
      At(write) = std::move(from);
      from = Entry();
    }
    ++write;
  }
  m_used = write;
  m_dead = 0;
  std::size_t liveBytes = 0;
  for (std::size_t position = 0; position < m_used; ++position) liveBytes += At(position).key.size();
  if (m_keys.Size() > 2 * liveBytes + 4096) {
    // Copied first and switched after: a failed allocation leaves the old pool in use.
    try {
      TextPool keys;
      std::vector<std::string_view> copies;
      copies.reserve(m_used);
      for (std::size_t position = 0; position < m_used; ++position) copies.push_back(keys.Store(At(position).key));
      for (std::size_t position = 0; position < m_used; ++position) At(position).key = copies[position];
      m_keys = std::move(keys);
    } catch (const std::bad_alloc&) {
    }
  }
  while (!m_chunks.empty() && kFirstChunk * ((std::size_t{1} << (m_chunks.size() - 1)) - 1) >= m_used) {
    m_chunks.pop_back();
  }
  Rebuild(m_index.size());
}

}  // namespace korad
