// Collection: 1-based, insertion-ordered, optionally keyed case-insensitively through a
// hash index. Raises the runtime errors callers test for: 457 for a duplicate key,
// 5 for a missing key, 9 for a position out of range, 13 for an index of the wrong kind.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "contracts/error.h"
#include "contracts/text.h"
#include "contracts/value.h"

namespace korad {

template <class T>
class Collection {
 public:
  int32_t Count() const noexcept { return static_cast<int32_t>(m_entries.size()); }
  bool Empty() const noexcept { return m_entries.empty(); }

  // Adds at the end; with a key that is already present it raises 457 and adds nothing.
  T& Add(T item, std::optional<std::string_view> key = std::nullopt) {
    auto entry = std::make_unique<Entry>(Entry{key ? std::string(*key) : std::string(), key.has_value(), std::move(item)});
    if (key) {
      auto [it, inserted] = m_index.emplace(entry->key, entry.get());
      if (!inserted) RaiseRuntimeError(kErrDuplicateKey);
    }
    m_entries.push_back(std::move(entry));
    return m_entries.back()->item;
  }

  // By 1-based position; 9 outside 1..Count.
  T& Item(int32_t position) { return At(position).item; }
  const T& Item(int32_t position) const { return const_cast<Collection*>(this)->At(position).item; }
  // By key; 5 if no entry has it.
  T& Item(std::string_view key) {
    if (T* found = Find(key)) return *found;
    RaiseRuntimeError(kErrInvalidCall);
  }
  // By a Value: numbers are positions (rounded half to even), text is a key, anything
  // else raises 13.
  T& Item(const Value& index) {
    if (const std::string* key = index.AsString()) return Item(std::string_view(*key));
    return Item(PositionOf(index));
  }

  // Text keys of every spelling go to the key lookup, not to the Value overload.
  T& Item(const char* key) { return Item(std::string_view(key)); }
  T& Item(const std::string& key) { return Item(std::string_view(key)); }

  T* Find(std::string_view key) noexcept {
    auto it = m_index.find(key);
    return it == m_index.end() ? nullptr : &it->second->item;
  }
  const T* Find(std::string_view key) const noexcept { return const_cast<Collection*>(this)->Find(key); }
  bool Contains(std::string_view key) const noexcept { return m_index.find(key) != m_index.end(); }
  // The key an entry was added under, empty if none.
  const std::string& KeyAt(int32_t position) const { return const_cast<Collection*>(this)->At(position).key; }

  void Remove(int32_t position) {
    At(position);
    Erase(m_entries.begin() + (position - 1));
  }
  void Remove(std::string_view key) {
    auto it = m_index.find(key);
    if (it == m_index.end()) RaiseRuntimeError(kErrInvalidCall);
    const Entry* target = it->second;
    Erase(std::find_if(m_entries.begin(), m_entries.end(), [&](const auto& e) { return e.get() == target; }));
  }
  void Remove(const Value& index) {
    if (const std::string* key = index.AsString()) return Remove(std::string_view(*key));
    Remove(PositionOf(index));
  }
  void Remove(const char* key) { Remove(std::string_view(key)); }
  void Remove(const std::string& key) { Remove(std::string_view(key)); }
  void Clear() noexcept {
    m_index.clear();
    m_entries.clear();
  }

  // Iteration in insertion order over the items.
  class Iterator {
   public:
    using Inner = typename std::vector<std::unique_ptr<typename Collection::Entry>>::const_iterator;
    explicit Iterator(Inner it) : m_it(it) {}
    T& operator*() const { return (*m_it)->item; }
    T* operator->() const { return &(*m_it)->item; }
    Iterator& operator++() {
      ++m_it;
      return *this;
    }
    bool operator==(const Iterator& other) const { return m_it == other.m_it; }

   private:
    Inner m_it;
  };
  Iterator begin() const { return Iterator(m_entries.begin()); }
  Iterator end() const { return Iterator(m_entries.end()); }

 private:
  struct Entry {
    std::string key;
    bool keyed;
    T item;
  };

  Entry& At(int32_t position) {
    if (position < 1 || position > Count()) RaiseRuntimeError(kErrSubscriptRange);
    return *m_entries[static_cast<size_t>(position - 1)];
  }
  static int32_t PositionOf(const Value& index) {
    switch (index.Kind()) {
      case ValueKind::Integer:
      case ValueKind::Long:
      case ValueKind::Single:
      case ValueKind::Double:
      case ValueKind::Boolean:
        return index.ToLong();
      default:
        RaiseRuntimeError(kErrTypeMismatch);
    }
  }
  void Erase(typename std::vector<std::unique_ptr<Entry>>::iterator it) {
    if ((*it)->keyed) m_index.erase((*it)->key);
    m_entries.erase(it);
  }

  std::vector<std::unique_ptr<Entry>> m_entries;
  std::unordered_map<std::string_view, Entry*, NoCaseHash, NoCaseEqual> m_index;
};

}  // namespace korad
