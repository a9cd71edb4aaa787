#include "corelib/containers/trie.h"

#include <utility>

namespace tstl {
namespace {

int tries_for(TrieRoot::BldSpd speed) {
  switch (speed) {
    case TrieRoot::BldSpd::kFast:
      return 1;
    case TrieRoot::BldSpd::kNormal:
      return 3;
    case TrieRoot::BldSpd::kSlow:
      return 8;
  }
  return 3;
}

}  // namespace

template <Unit T>
Trie<T>& Trie<T>::operator=(Trie&& other) noexcept {
  Trie taken(std::move(other));
  swap(taken);
  return *this;
}

template <Unit T>
void Trie<T>::swap(Trie& other) noexcept {
  std::swap(index_, other.index_);
  arena_.swap(other.arena_);
  std::swap(values_, other.values_);
  std::swap(item_cnt_, other.item_cnt_);
}

template <Unit T>
std::uint32_t Trie<T>::build(const Tree<T>& tree, BldSpd speed) {
  reset();
  Trie made;
  detail::TrieKey<T> key;
  const bool indexed = tree.for_each_bk([&](View units, std::uint64_t&) {
    return key.set_units(units) && made.index_.add(key.bytes());
  }) && made.index_.build(tries_for(speed));
  made.values_ = made.arena_.template alloc_array<std::uint64_t>(tree.itemcnt() + std::uint64_t{1});
  if (!indexed || made.values_ == nullptr) return FAILURE;

  tree.for_each([&](View, std::uint64_t& value) {
    made.values_[made.index_.number_of(made.item_cnt_++)] = value;
  });
  made.index_.end_build();
  *this = std::move(made);
  return 0;
}

template <Unit T>
const std::uint64_t* Trie<T>::find(View units) const {
  detail::TrieKey<T> key;
  std::uint32_t number = 0;
  const bool found = !is_empty() && key.set_units(units) && index_.find(key.bytes(), number);
  return found ? values_ + number : nullptr;
}

template class Trie<unsigned char>;
template class Trie<unsigned short>;

}  // namespace tstl
