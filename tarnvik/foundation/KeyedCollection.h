// The one ordered, optionally keyed collection behind every collection class of the
// library. Positions are 1-based; keys are compared without regard to ASCII case, and
// an item added without a key can only be reached by position.
//
// Failures are reported under the owning class's module name: a position outside
// 1..Count raises 9, an unknown key 5, a key already in use 457.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace detail {
bool KeysEqual(const std::string& a, const std::string& b);
}  // namespace detail

template <class T>
class KeyedCollection {
 public:
  using value_type = std::shared_ptr<T>;
  using const_iterator = typename std::vector<value_type>::const_iterator;

  explicit KeyedCollection(const char* module) : module_(module) {}
  KeyedCollection(const KeyedCollection&) = delete;
  KeyedCollection& operator=(const KeyedCollection&) = delete;

  // Appends item; an empty key means none.
  void Add(std::shared_ptr<T> item, const std::string& key = {}) {
    Guarded(module_, "Add()", [&] { InsertAt(Count() + 1, std::move(item), key); });
  }

  // Inserts item so that it becomes position `before` (1..Count()+1).
  void Insert(int32_t before, std::shared_ptr<T> item, const std::string& key = {}) {
    Guarded(module_, "Add()", [&] { InsertAt(before, std::move(item), key); });
  }

  std::shared_ptr<T> Item(int32_t index) const {
    return Guarded(module_, "Get Item()", [&] { return items_[Offset(index)]; });
  }

  std::shared_ptr<T> Item(const std::string& key) const {
    return Guarded(module_, "Get Item()", [&] { return items_[OffsetOfKey(key)]; });
  }

  int32_t Count() const { return static_cast<int32_t>(items_.size()); }

  void Remove(int32_t index) {
    Guarded(module_, "Remove()", [&] { EraseAt(Offset(index)); });
  }

  void Remove(const std::string& key) {
    Guarded(module_, "Remove()", [&] { EraseAt(OffsetOfKey(key)); });
  }

  void Clear() {
    items_.clear();
    keys_.clear();
  }

  const_iterator begin() const { return items_.begin(); }
  const_iterator end() const { return items_.end(); }

 protected:
  const char* Module() const { return module_; }

 private:
  std::size_t Offset(int32_t index) const {
    if (index < 1 || index > Count()) Raise(err::SubscriptOutOfRange);
    return static_cast<std::size_t>(index - 1);
  }

  std::size_t OffsetOfKey(const std::string& key) const {
    for (std::size_t i = 0; i < keys_.size(); ++i) {
      if (!keys_[i].empty() && detail::KeysEqual(keys_[i], key)) return i;
    }
    Raise(err::InvalidCall);
  }

  void InsertAt(int32_t before, std::shared_ptr<T> item, const std::string& key) {
    if (!item) Raise(err::ObjectNotSet);
    if (before < 1 || before > Count() + 1) Raise(err::SubscriptOutOfRange);
    if (!key.empty()) {
      for (const auto& existing : keys_) {
        if (detail::KeysEqual(existing, key)) Raise(err::DuplicateKey);
      }
    }
    const auto offset = static_cast<std::ptrdiff_t>(before - 1);
    items_.insert(items_.begin() + offset, std::move(item));
    keys_.insert(keys_.begin() + offset, key);
  }

  void EraseAt(std::size_t offset) {
    items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(offset));
    keys_.erase(keys_.begin() + static_cast<std::ptrdiff_t>(offset));
  }

  const char* module_;
  std::vector<std::shared_ptr<T>> items_;
  std::vector<std::string> keys_;
};

}  // namespace tarnvik
