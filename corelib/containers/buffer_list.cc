#include "corelib/containers/buffer_list.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "corelib/containers/detail/key_probe.h"
#include "corelib/containers/list_file.h"
#include "corelib/io/files/directory_walker.h"

namespace tstl {
namespace {

// Sorted instead of the node pointers: holds the value too, so that sorting need not fetch it from
// the arena.
template <class Node>
struct Entry {
  std::uint64_t value;
  Node* node;
};

// One pass of a radix sort: stable, by one byte of the value, the greatest first.
template <class Node>
void sort_by_byte(const Entry<Node>* from, Entry<Node>* to, std::uint32_t n, int shift) {
  std::array<std::uint32_t, 256> place{};
  const auto rank = [shift](const Entry<Node>& entry) { return ~(entry.value >> shift) & 0xFF; };
  for (std::uint32_t i = 0; i < n; ++i) ++place[rank(from[i])];
  std::uint32_t before = 0;
  for (std::uint32_t& count : place) before += std::exchange(count, before);
  for (std::uint32_t i = 0; i < n; ++i) to[place[rank(from[i])]++] = from[i];
}

// A radix sort, least significant byte first; skips the bytes in which all values agree. False, and
// nothing is changed, if there is no memory for two arrays of entries.
template <class Node>
bool sort_by_bytes(Node** slots, std::uint32_t n) {
  auto* const entries = static_cast<Entry<Node>*>(std::malloc(2 * sizeof(Entry<Node>) * n));
  if (entries == nullptr) return false;
  auto* from = entries;
  auto* to = entries + n;
  std::uint64_t differ = 0;
  for (std::uint32_t i = 0; i < n; ++i) {
    from[i] = {slots[i]->value(), slots[i]};
    differ |= from[i].value ^ from[0].value;
  }
  for (int shift = 0; shift < 64; shift += 8) {
    if ((differ >> shift & 0xFF) == 0) continue;
    sort_by_byte(from, to, n, shift);
    std::swap(from, to);
  }
  for (std::uint32_t i = 0; i < n; ++i) slots[i] = from[i].node;
  std::free(entries);
  return true;
}

void append_path(Buffer<unsigned char>& key, BufferRef<unsigned char> path) {
  key.append_str(path);
}
void append_path(Buffer<unsigned short>& key, BufferRef<unsigned char> path) {
  key.append_lossless(path);
}

// Up to this length a heap sort is quicker.
constexpr std::uint32_t kFewNodes = 256;

}  // namespace

template <Unit T>
BufferList<T>& BufferList<T>::operator=(BufferList&& other) noexcept {
  BufferList taken(std::move(other));
  swap(taken);
  return *this;
}

template <Unit T>
void BufferList<T>::swap(BufferList& other) noexcept {
  arena_.swap(other.arena_);
  std::swap(slots_, other.slots_);
  std::swap(size_, other.size_);
  std::swap(capacity_, other.capacity_);
}

template <Unit T>
void BufferList<T>::reset() {
  clear();
  release_slots();
  slots_ = nullptr;
  capacity_ = 0;
}

template <Unit T>
void BufferList<T>::clear() {
  arena_.reset();
  size_ = 0;
}

template <Unit T>
void BufferList<T>::release_slots() {
  if (slots_ != nullptr) std::free(slots_ - 1);
}

template <Unit T>
bool BufferList<T>::set_capacity(std::uint64_t n) {
  n = std::min<std::uint64_t>(n, 0xFFFFFFFF);
  void* const old = slots_ == nullptr ? nullptr : slots_ - 1;
  void* const grown = std::realloc(old, (n + 1) * sizeof(Slot));
  if (grown == nullptr) return false;
  slots_ = static_cast<Slot*>(grown) + 1;
  capacity_ = static_cast<std::uint32_t>(n);
  return true;
}

template <Unit T>
bool BufferList<T>::grow() {
  if (size_ == 0xFFFFFFFF) return false;
  return set_capacity(
      std::max<std::uint64_t>(2 * std::uint64_t{capacity_}, std::max(size_ + 1, kFirstCapacity)));
}

template <Unit T>
void BufferList<T>::recapacity(std::uint32_t n) {
  if (n > capacity_) set_capacity(n);
}

template <Unit T>
void BufferList<T>::modify(std::uint32_t index, View key, std::uint64_t value) {
  if (index >= size_) return;
  if (Node* const node = new_node(key, value)) slots_[index] = node;
}

// A min-heap sorts from the greatest to the least. A long list is sorted by radix instead, if there
// is memory for that: the result is the same, and much quicker.
template <Unit T>
void BufferList<T>::sort() {
  if (size_ > kFewNodes && sort_by_bytes(slots_, size_)) return;
  const auto greater = [](const Node* a, const Node* b) { return a->value() > b->value(); };
  std::make_heap(begin(), end(), greater);
  std::sort_heap(begin(), end(), greater);
}

template <Unit T>
typename BufferList<T>::Slot* BufferList<T>::find(View key) const {
  const detail::KeyProbe<T> probe(key);
  Slot* const at =
      std::find_if(begin(), end(), [&](const Node* node) { return probe.matches(*node); });
  return at == end() ? nullptr : at;
}

template <Unit T>
std::uint32_t BufferList<T>::find_index(View key) const {
  Slot* const at = find(key);
  return at == nullptr ? NOT_FOUND : static_cast<std::uint32_t>(at - begin());
}

template <Unit T>
bool BufferList<T>::read_kvfile(const char* path, T separator, PairFaults* faults) {
  reset();
  // Inlined: a call would take a good part of the time of such a short append.
  return detail::read_kvfile<T>(
      path, separator, faults, [this](View key, std::uint64_t value) __attribute__((flatten)) {
        return emplace_back(key, value) != nullptr;
      });
}

template <Unit T>
bool BufferList<T>::read_txtfile(const char* path, bool empty_lines) {
  reset();
  TextRead<T> in;
  return in.open(path, detail::kReadBuffer) != FAILURE &&
         in.for_each_line(empty_lines,
                          [this](View line) { return emplace_back(line, 0) != nullptr; });
}

template <Unit T>
bool BufferList<T>::write_kvfile(const char* path, T separator, bool crlf) const {
  return detail::write_kvfile(*this, path, separator, crlf);
}

template <Unit T>
bool BufferList<T>::write_txtfile(const char* path, bool crlf) const {
  return detail::write_list<T>(
      *this, path, [=](T* at, std::uint64_t) { return detail::put_line_end(at, crlf); });
}

template <Unit T>
bool BufferList<T>::get_file_list(const char* path, bool recursive,
                                  BufferRef<unsigned char> suffix) {
  reset();
  DirectoryWalker walker;
  if (walker.open(path, suffix) == FAILURE) return false;
  Buffer<T> key;
  while (walker.next()) {
    if (walker.is_directory()) {
      if (recursive) walker.enter();
    } else {
      append_path(key.clear(), walker.path());
      if (key.is_empty() || emplace_back(key, 0) == nullptr) return false;
    }
  }
  return walker.is_complete();
}

template <Unit T>
bool BufferList<T>::read_tree(const Tree<T>& tree) {
  reset();
  set_capacity(tree.itemcnt() + std::uint64_t{1});
  return tree.for_each_bk(
      [this](View key, std::uint64_t value) { return emplace_back(key, value) != nullptr; });
}

template <Unit T>
bool BufferList<T>::write_tree(Tree<T>& tree) const {
  return this->for_each_bk([&tree](View key, std::uint64_t value) {
    auto* const node = tree.insert(key);
    if (node != nullptr) node->set_value(value);
    return node != nullptr;
  });
}

template <Unit T>
bool BufferList<T>::write_trie(Trie<T>& trie, TrieRoot::BldSpd speed) const {
  trie.reset();
  Tree<T> tree;
  const bool complete = this->for_each_bk([&tree](View key, std::uint64_t value) {
    auto* const node = key ? tree.insert(key) : nullptr;
    if (node != nullptr) node->set_value(value);
    return node != nullptr || key.is_empty();
  });
  return complete && trie.build(tree, speed) == 0;
}

template <Unit T>
bool BufferList<T>::operator==(const BufferList& other) const {
  return std::equal(begin(), end(), other.begin(), other.end(), [](const Node* a, const Node* b) {
    return a->value() == b->value() && a->key() == b->key();
  });
}

template class BufferList<unsigned char>;
template class BufferList<unsigned short>;

}  // namespace tstl
