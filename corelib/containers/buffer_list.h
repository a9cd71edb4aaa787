// BufferList: a list of keys, each with a 64-bit value, in the order in which they were appended.
//
// The list owns an arena with the nodes, where a key is copied once and never moves, and an array
// of pointers to them. A slot is an element of that array: it stays valid until the list grows,
// while a node stays valid until clear(), reset() or the list's end. When memory is short an
// appending operation gives null and the list stays as it was. One thread at a time.
//
// Search is linear; for look-up by key see BufferHash. Keys of 65536 units or more are recorded
// with a wrapped length: see recorded_len().
//
// Lists are read from and written to text files, described in docs/formats/text-files.md. What
// was written comes back unless a key is empty (it is not written) or has a line end in it (it comes
// back as two keys or more), or the first key of an 8-bit file starts with the bytes of a byte-order
// mark. A key may hold the separator, which is to be neither a line end nor what a number is made
// of. A list of plain keys has no values.
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

  // Releases all nodes, and with reset() the array of slots too.
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

  // Puts a new node in the place of the one at `index`, whose memory is kept until the arena's
  // next release. An index past the end, or no memory, changes nothing.
  void modify(std::uint32_t index, View key, std::uint64_t value);

  // Makes room for `n` slots, exactly, if there are fewer. When memory is short nothing changes.
  void recapacity(std::uint32_t n);

  // From the greatest value to the least. The order of nodes with equal values is not defined.
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
  // For the way back: from rstart(), the last slot, down to rfinish(), the place before the first.
  Slot* rstart() const { return end() - (slots_ != nullptr); }
  Slot* rfinish() const { return slots_ - (slots_ != nullptr); }

  // The slot of the first node with this key, or null; its index, or NOT_FOUND.
  Slot* find(View key) const;
  std::uint32_t find_index(View key) const;

  // Replace the contents by the pairs of a key-value file, in its order; by the lines of a text file
  // with value 0, empty ones too if `empty_lines`. False when the file cannot be opened: the list is
  // empty then; or when reading or memory ends before the file: the first elements are there then.
  // 8-bit and 16-bit files are told apart by their byte-order mark: see text_read.h. A line that is no
  // pair is no failure: `faults`, if not null, receives how many there were. Look at it where a file
  // might have another separator, which would make every line a key with value 0.
  bool read_kvfile(const char* path, T separator, PairFaults* faults = nullptr);
  bool read_txtfile(const char* path, bool empty_lines);
  // Write the keys that are not empty, each on a line, with its value behind the separator or without;
  // the line ends with "\r\n" if `crlf`, else "\n". A file that is there is replaced. False when it
  // cannot be opened or not be written whole.
  bool write_kvfile(const char* path, T separator, bool crlf) const;
  bool write_txtfile(const char* path, bool crlf) const;

  // Replaces the contents by the paths, as the walker gives them, of all files of a directory whose
  // names end with `suffix`; with those in the directories below it, each where it stands, if
  // `recursive`. A 16-bit list has them decoded from UTF-8 without loss, whatever bytes they are:
  // Buffer<unsigned char>().append_lossless(key) gives the path to be opened. False when the directory cannot be read: the list is
  // empty then; or when one below it cannot, or memory is short: the rest is there then.
  bool get_file_list(const char* path, bool recursive, BufferRef<unsigned char> suffix = {});

  // Replaces the contents by those of a tree, in its order. False when memory is short: what fits is
  // there then.
  bool read_tree(const Tree<T>& tree);
  // Inserts every key with its value into `tree`, the later of equal keys counts. False when memory
  // is short: the first ones are there then.
  bool write_tree(Tree<T>& tree) const;
  // Makes a trie of all keys that are not empty, the later of equal keys counts. False when memory
  // is short: the trie is empty then.
  bool write_trie(Trie<T>& trie, TrieRoot::BldSpd speed) const;

  // The same keys with the same values at the same places.
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
  Slot* slots_ = nullptr;  // with one more in front, so that rfinish() is a place in the array
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
