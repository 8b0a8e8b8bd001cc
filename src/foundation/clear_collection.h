// ClearCollection: empties a collection of any kind the library keeps, if there is one.
#pragma once

#include <memory>

namespace korad {

// Removes every item; a missing collection is left alone and errors are ignored, as
// callers use it on their way out. Takes Clear() where the collection offers it, else
// removes the first item until none is left.
template <class C>
void ClearCollection(C* collection) noexcept {
  if (!collection) return;
  try {
    if constexpr (requires { collection->Clear(); }) {
      collection->Clear();
    } else if constexpr (requires { collection->RemoveAll(); }) {
      collection->RemoveAll();
    } else {
      while (collection->Count() > 0) collection->Remove(1);
    }
  } catch (...) {
  }
}

template <class C>
void ClearCollection(const std::shared_ptr<C>& collection) noexcept {
  ClearCollection(collection.get());
}

}  // namespace korad
