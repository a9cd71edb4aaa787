// BufferList: a list of keys, each with a 64-bit value, in the order in which they were appended.
//
//   tstl::BufferList<unsigned char> words;
//   words.emplace_back("你好", 7);                         // null if the allocation fails
//   for (const auto* node : words) total += node->value();
//   words.sort();                                          // the greatest value first
//   words.write_kvfile("words.txt", '\t', false);          // false if it could not be written
//
// The list owns an arena with the nodes, where a key is copied once and never moves, and an array
// of pointers to them. A slot is an element of that array: it stays valid until the list grows,
// while a node stays valid until clear(), reset() or the list's end. If an allocation fails, an
// append returns null and the list stays as it was. One thread at a time.
//
// Search is linear; for look-up by key see BufferHash. Keys of 65536 units or more are recorded
// with a wrapped length: see recorded_len().
//
// Lists are read from and written to text files, described in docs/formats/text-files.md. Reading
// restores what was written, with three exceptions: an empty key is not written, a key with a line
// end in it is read as two or more keys, and the first key of an 8-bit file must not start with the
// bytes of a byte-order mark. A key may contain the separator. The separator must be neither a line
// end nor a character of a number. A file of plain keys has no values.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/containers/keyed_traversal.h"
#include "corelib/containers/tree.h"
#include "corelib/containers/trie.h"
#include "corelib/io/files/pair_faults.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

template <Unit T>
using BufferListNode = KeyedNode<T>;

// for_each() and for_each_bk() go from the first element to the last.
template <Unit T>
class BufferList : public KeyedTraversal<BufferList<T>> {
 public:
  using Node = BufferListNode<T>;
  using Slot = Node*;
  using View = BufferRef<T>;

  BufferList() = default;
  BufferList(BufferList&& other) noexcept { swap(other); }
  BufferList& operator=(BufferList&& other) noexcept;
  ~BufferList() { release_slots(); }
  void swap(BufferList& other) noexcept;

  // Release all nodes; reset() also releases the array of slots.
  void reset();
  void clear();

  // Append a copy of a key and its value. emplace_back returns the node, push_back the new last
  // slot.
  Node* emplace_back(View key, std::uint64_t value);
  Node* emplace_back(const Node& node) { return emplace_back(node.key(), node.value()); }
  Slot* push_back(View key, std::uint64_t value) {
    return emplace_back(key, value) == nullptr ? nullptr : end() - 1;
  }
  Slot* push_back(const Node& node) { return push_back(node.key(), node.value()); }

  // Replaces the node at `index` by a new one. The memory of the old one is freed only by clear()
  // or reset(). Does nothing if `index` is past the end or the allocation fails.
  void modify(std::uint32_t index, View key, std::uint64_t value);

  // Makes the capacity exactly `n` slots if it is less. If the allocation fails, nothing changes.
  void recapacity(std::uint32_t n);

  // Sorts from the greatest value to the least. The order of equal values is unspecified.
  void sort();

  std::uint32_t size() const { return size_; }
  std::uint32_t capacity() const { return capacity_; }
  bool is_empty() const { return size_ == 0; }

  // REQUIRES: i < size(); for front and back, a list that is not empty. The argument of back is not
  // used.
  Slot& operator[](std::uint64_t i) const {
    assert(i < size_);
    return slots_[i];
  }
  Slot& front() const { return (*this)[0]; }
  Slot& back(std::uint32_t = 0) const { return (*this)[size_ - 1]; }

  Slot* begin() const { return slots_; }
  Slot* end() const { return slots_ + size_; }
  // For reverse iteration: from rstart(), the last slot, down to rfinish(), one before the first.
  Slot* rstart() const { return end() - (slots_ != nullptr); }
  Slot* rfinish() const { return slots_ - (slots_ != nullptr); }

  // The slot of the first node with this key, or null; its index, or NOT_FOUND.
  Slot* find(View key) const;
  std::uint32_t find_index(View key) const;

  // Replace the contents by the pairs of a key-value file, in its order; or by the lines of a text
  // file with value 0, with the empty ones if `empty_lines`. False if the file cannot be opened:
  // the list is then empty. False also if reading or an allocation fails: the list then has the
  // elements before that. The byte-order mark distinguishes 8-bit from 16-bit files: see
  // text_read.h. A line that is no pair is not a failure: `faults`, if not null, receives the
  // number of such lines. Check it if the file may have another separator, which would make every
  // line a key with value 0.
  bool read_kvfile(const char* path, T separator, PairFaults* faults = nullptr);
  bool read_txtfile(const char* path, bool empty_lines);
  // Write the keys that are not empty, one per line; write_kvfile adds the separator and the value.
  // Lines end with "\r\n" if `crlf`, else with "\n". An existing file is overwritten. False if the
  // file cannot be opened or cannot be written whole.
  bool write_kvfile(const char* path, T separator, bool crlf) const;
  bool write_txtfile(const char* path, bool crlf) const;

  // Replaces the contents by the paths of all files of a directory whose names end with `suffix`,
  // in the order of DirectoryWalker; if `recursive`, also of the files in directories below it, at
  // the position where each directory is met. A 16-bit list has the paths decoded from UTF-8
  // without loss, whatever their bytes: Buffer<unsigned char>().append_lossless(key) gives the path
  // to open. False if the directory cannot be read: the list is then empty. False also if a
  // directory below it cannot be read or an allocation fails: the list then has the other files.
  bool get_file_list(const char* path, bool recursive, BufferRef<unsigned char> suffix = {});

  // Replaces the contents by those of a tree, in its order. False if an allocation fails: the list
  // then has the elements before that.
  bool read_tree(const Tree<T>& tree);
  // Inserts every key with its value into `tree`; the last value of a key counts. False if an
  // allocation fails: the tree then has the keys before that.
  bool write_tree(Tree<T>& tree) const;
  // Builds a trie of all keys that are not empty; the last value of a key counts. False if an
  // allocation fails: the trie is then empty.
  bool write_trie(Trie<T>& trie, TrieRoot::BldSpd speed) const;

  // The same keys with the same values in the same order.
  bool operator==(const BufferList& other) const;

 private:
  friend class KeyedTraversal<BufferList>;
  static constexpr std::uint32_t kFirstCapacity = 8;

  template <class Fn>
  bool walk(Fn fn) const {
    return std::all_of(begin(), end(), [&fn](Node* node) { return fn(*node); });
  }
  Node* new_node(View key, std::uint64_t value);
  bool grow();
  bool set_capacity(std::uint64_t n);
  void release_slots();

  Chunk arena_;
  Slot* slots_ = nullptr;  // the array has one more in front, to which rfinish() points
  std::uint32_t size_ = 0;
  std::uint32_t capacity_ = 0;
};
static_assert(sizeof(BufferList<unsigned char>) == sizeof(Chunk) + 16);

// ---------------------------------------------------------------------------------------------------------------------

template <Unit T>
typename BufferList<T>::Node* BufferList<T>::new_node(View key, std::uint64_t value) {
  Node* const node = detail::alloc_node<Node>(arena_, key);
  if (node == nullptr) return nullptr;
  node->init_key(key, recorded_len(key.len()));
  node->set_value(value);
  return node;
}

template <Unit T>
typename BufferList<T>::Node* BufferList<T>::emplace_back(View key, std::uint64_t value) {
  if (size_ == capacity_ && !grow()) return nullptr;
  Node* const node = new_node(key, value);
  if (node != nullptr) slots_[size_++] = node;
  return node;
}

extern template class BufferList<unsigned char>;
extern template class BufferList<unsigned short>;

}  // namespace tstl
