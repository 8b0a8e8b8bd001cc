#include "platform/scripting_dictionary.h"

#include <functional>

#include "foundation/contracts/error.h"
#include "foundation/contracts/text.h"

namespace korad {

std::size_t ScriptingDictionary::KeyHash::operator()(std::string_view key) const noexcept {
  return mode == CompareMode::Text ? NoCaseHash{}(key) : std::hash<std::string_view>{}(key);
}

bool ScriptingDictionary::KeyEqual::operator()(std::string_view a, std::string_view b) const noexcept {
  return mode == CompareMode::Text ? EqualsNoCase(a, b) : a == b;
}

ScriptingDictionary::ScriptingDictionary()
    : m_index(0, KeyHash{CompareMode::Binary}, KeyEqual{CompareMode::Binary}) {}

void ScriptingDictionary::SetCompareMode(CompareMode mode) {
  if (Count() != 0) RaiseRuntimeError(kErrInvalidCall);
  RemoveAll();
  m_mode = mode;
  m_index = Index(0, KeyHash{mode}, KeyEqual{mode});
}

ScriptingDictionary::Slot* ScriptingDictionary::Locate(std::string_view key) const {
  const auto it = m_index.find(key);
  if (it == m_index.end()) return nullptr;
  return const_cast<Slot*>(&m_slots[it->second - m_firstSequence]);
}

ScriptingDictionary::Slot& ScriptingDictionary::Append(std::string_view key, Value item) {
  Slot& slot = m_slots.emplace_back(Slot{std::string(key), std::move(item), true});
  try {
    m_index.emplace(slot.key, m_firstSequence + m_slots.size() - 1);
  } catch (...) {
    m_slots.pop_back();
    throw;
  }
  return slot;
}

void ScriptingDictionary::Add(std::string_view key, Value item) {
  if (Locate(key)) RaiseRuntimeError(kErrDuplicateKey);
  Append(key, std::move(item));
}

Value& ScriptingDictionary::Item(std::string_view key) {
  if (Slot* slot = Locate(key)) return slot->item;
  return Append(key, Value()).item;
}

const Value* ScriptingDictionary::Find(std::string_view key) const {
  const Slot* slot = Locate(key);
  return slot ? &slot->item : nullptr;
}

Value* ScriptingDictionary::Find(std::string_view key) {
  Slot* slot = Locate(key);
  return slot ? &slot->item : nullptr;
}

void ScriptingDictionary::SetItem(std::string_view key, Value item) {
  if (Slot* slot = Locate(key)) {
    slot->item = std::move(item);
  } else {
    Append(key, std::move(item));
  }
}

void ScriptingDictionary::Remove(std::string_view key) {
  const auto it = m_index.find(key);
  if (it == m_index.end()) RaiseRuntimeError(kErrElementNotFound);
  Slot& slot = m_slots[it->second - m_firstSequence];
  m_index.erase(it);
  // Let go of the item now: it may be an object that others wait to see released.
  slot.live = false;
  slot.item = Value();
  slot.key = std::string();
  ++m_dead;
  // Removed slots at either end go at once; those in the middle wait for a compaction.
  while (!m_slots.empty() && !m_slots.front().live) {
    m_slots.pop_front();
    ++m_firstSequence;
    --m_dead;
  }
  while (!m_slots.empty() && !m_slots.back().live) {
    m_slots.pop_back();
    --m_dead;
  }
  if (m_dead > 64 && m_dead > Count()) Compact();
}

void ScriptingDictionary::RemoveAll() noexcept {
  m_index.clear();
  m_slots.clear();
  m_firstSequence = 0;
  m_dead = 0;
}

void ScriptingDictionary::RenameKey(std::string_view key, std::string_view newKey) {
  const auto it = m_index.find(key);
  if (it == m_index.end()) RaiseRuntimeError(kErrElementNotFound);
  const std::size_t sequence = it->second;
  if (!m_index.key_eq()(key, newKey) && m_index.find(newKey) != m_index.end()) {
    RaiseRuntimeError(kErrDuplicateKey);
  }
  Slot& slot = m_slots[sequence - m_firstSequence];
  std::string spelled(newKey);  // newKey may view the slot's own key
  m_index.erase(it);
  slot.key = std::move(spelled);
  m_index.emplace(slot.key, sequence);
}

std::vector<std::string> ScriptingDictionary::Keys() const {
  std::vector<std::string> keys;
  keys.reserve(Count());
  ForEach([&](const std::string& key, const Value&) { keys.push_back(key); });
  return keys;
}

std::vector<Value> ScriptingDictionary::Items() const {
  std::vector<Value> items;
  items.reserve(Count());
  ForEach([&](const std::string&, const Value& item) { items.push_back(item); });
  return items;
}

// Moves the live slots together and renumbers them. Runs only when removed slots
// outnumber live ones, so its cost is paid for by the removals since the last one.
void ScriptingDictionary::Compact() {
  std::size_t write = 0;
  for (std::size_t read = 0; read < m_slots.size(); ++read) {
    if (!m_slots[read].live) continue;
    if (write != read) m_slots[write] = std::move(m_slots[read]);
    ++write;
  }
  m_slots.resize(write);
  m_firstSequence = 0;
  m_dead = 0;
  m_index.clear();
  m_index.reserve(write);
  for (std::size_t i = 0; i < m_slots.size(); ++i) m_index.emplace(m_slots[i].key, i);
}

}  // namespace korad
