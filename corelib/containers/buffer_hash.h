// BufferHash: a hash table from keys of code units to 64-bit values.
//
//   tstl::BufferHash<unsigned char> words(100'000);        // about as many buckets as keys
//   auto* const node = words.insert("你好");               // found, or made with the value 0
//   if (node != nullptr) node->set_value(node->value() + 1);
//   const auto* const found = words.find("世界");          // null: it is not there
//   words.for_each([&](Text key, std::uint64_t value) { total += key.len() * value; });
//
//   buckets      nodes, packed in an arena
//   +-------+    +------+-------+---------+--------+
//   | first |--->| next | value | key len | key, 0 |    next: 0, or the next node of the chain
//   +-------+    +------+-------+---------+--------+
//   |   0   |      8       8       4 bytes
//   +-------+
//
// Choose about as many buckets as there will be keys. The caller sets their number and it never
// changes by itself, so the smallest table, of 32 buckets, has long chains: with 10,000 keys a
// look-up in it takes 3,000 ns, and 30 ns in a table of 10,000.
//
// The table uses chaining; its nodes lie packed in an arena that it owns. Nodes never move, and
// live until reset() or the table's end. If an allocation fails, an insertion returns null and
// leaves the table as it was. One thread at a time.
//
// set_tabsize() on a table that has keys moves every node to the head of its new chain. Before
// that, chains are in key order; after it they are not, on purpose. An insertion still searches
// only up to the first node whose key is greater. So after such a call insert() may miss a key that
// is there and make a second node for it; find() scans whole chains and returns the first one. To
// resize a filled table, call find() before insert(), or move the keys into a new table with
// for_each().
//
// The hash is a CRC, which is no defence against keys that were chosen to share a bucket: take such
// keys in bounded numbers only, or into a Tree. Keys of 65536 units or more are recorded with a
// wrapped length: see recorded_len().
#pragma once

#include <cstdint>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/chunk.h"
#include "corelib/containers/crc32.h"
#include "corelib/containers/detail/chain_link.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/containers/keyed_traversal.h"
#include "corelib/io/files/pair_faults.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

//   offset 0, 8 bytes: link to the next node of the chain
//          8:          a keyed node (value, key length, key)
#pragma pack(push, 4)
template <Unit T>
class BufferHashNode {
 public:
  using unit_type = T;
  using Link = detail::ChainLink<BufferHashNode>;

  BufferHashNode* next() const { return link_.node(); }
  Link& link() { return link_; }
  const Link& link() const { return link_; }

  std::uint64_t value() const { return keyed_.value(); }
  void set_value(std::uint64_t value) { keyed_.set_value(value); }
  BufferRef<T> key() const { return keyed_.key(); }
  const T* str() const { return keyed_.str(); }
  std::uint32_t len() const { return keyed_.len(); }
  const KeyedNode<T>& keyed() const { return keyed_; }
  // As KeyedNode's.
  void init_key(BufferRef<T> key, std::uint32_t len) { keyed_.init_key(key, len); }

 private:
  Link link_;
  KeyedNode<T> keyed_;
};
#pragma pack(pop)
static_assert(sizeof(void*) == 8 && sizeof(BufferHashNode<unsigned char>) == 20);

// for_each() and for_each_bk() go bucket by bucket, each chain from its head.
template <Unit T>
class BufferHash : public KeyedTraversal<BufferHash<T>> {
 public:
  using Node = BufferHashNode<T>;
  using Link = typename Node::Link;
  using View = BufferRef<T>;
  static constexpr std::uint32_t kMinTable = 32;
  static constexpr std::uint32_t kMaxTable = 1048576;

  // The first insertion makes `tabsize` buckets, clamped to the range from kMinTable to kMaxTable.
  explicit BufferHash(std::uint32_t tabsize) : requested_(clamp(tabsize)) {}
  BufferHash(BufferHash&& other) noexcept : requested_(other.requested_) { swap(other); }
  BufferHash& operator=(BufferHash&& other) noexcept;
  ~BufferHash();
  void swap(BufferHash& other) noexcept;

  // Releases all nodes and buckets.
  void reset();

  // Sets the number of buckets (clamped as above). A table that has another number of buckets is
  // rehashed: see the opening comment. If the allocation fails, it keeps its buckets.
  void set_tabsize(std::uint32_t n);
  // Sets the number of buckets that the first insertion, or the first after reset(), makes. Never
  // rehashes.
  void itn_set_tabsize(std::uint32_t n) { requested_ = clamp(n); }

  // Nodes allocated, those of alloc_node() included.
  std::uint32_t itemcnt() const { return item_cnt_; }
  // Buckets in use, or those that the first insertion will make.
  std::uint32_t tabsize() const { return bucket_cnt_ == 0 ? requested_ : bucket_cnt_; }
  // The tabsize() chain heads, which convert to pointers to the first nodes; null before the first
  // insertion.
  const Link* table() const { return buckets_; }

  // The bucket of a key: its CRC-32 modulo the table size.
  std::uint32_t hash_id(View key) const { return crc32(key) % tabsize(); }

  // The node of the key, made with value 0 if there is none; null if the allocation fails. `key` is
  // copied.
  Node* insert(View key);
  Node* operator[](View key) { return insert(key); }

  // insert() for `n` keys in order; stores the node of each, or null. In a table that is larger
  // than the processor's caches this is up to two and a half times as quick as single calls,
  // because the memory accesses overlap.
  void insert_all(const View* keys, std::uint32_t n, Node** nodes);

  // A node with this key and value 0, counted but not in any chain; null if the allocation fails.
  [[nodiscard]] Node* alloc_node(View key);

  // The node of the key or null.
  Node* find(View key) { return const_cast<Node*>(std::as_const(*this).find(key)); }
  const Node* find(View key) const { return buckets_ == nullptr ? nullptr : find_key(key); }

  // find() for `n` keys, with the same advantage; for example for all words that may start at one
  // position of a text. Stores the node of each, or null.
  void find_all(const View* keys, std::uint32_t n, const Node** nodes) const;

  // As those of BufferList. Reading keeps the last value of a key; writing is in the order of
  // for_each.
  //
  // write_kvfile writes every node. If a key has several, as it may after set_tabsize() on a filled
  // table, the file has all of them, the one that find() returns first, so that a reader of the
  // file gets an older value. write_found_kvfile writes only the nodes that find() returns, so that
  // look-ups give the same after the file is read.
  bool read_kvfile(const char* path, T separator, PairFaults* faults = nullptr);
  bool write_kvfile(const char* path, T separator, bool crlf) const;
  bool write_found_kvfile(const char* path, T separator, bool crlf) const;

 private:
  friend class KeyedTraversal<BufferHash>;

  static constexpr std::uint32_t clamp(std::uint32_t n) {
    return n < kMinTable ? kMinTable : n > kMaxTable ? kMaxTable : n;
  }
  using Place = detail::ChainPlace;

  template <class Fn>
  bool walk(Fn fn) const;
  Place place_of(View key) const;
  bool make_buckets();
  const Node* find_key(View key) const;
  // Not inlined, because it would make the look-up of a short key save registers.
  [[gnu::noinline]] const Node* find_any(View key) const;
  Node* insert_at(Place place, View key);
  const Node* find_at(Place place, View key) const;
  template <class Fn>
  void at_places(const View* keys, std::uint32_t n, Fn fn) const;

  Chunk arena_;
  Link* buckets_ = nullptr;
  std::uint32_t bucket_cnt_ = 0;
  std::uint32_t bucket_cap_ = 0;
  std::uint32_t item_cnt_ = 0;
  std::uint32_t requested_;
};
static_assert(sizeof(BufferHash<unsigned char>) == sizeof(Chunk) + 24);

// ---------------------------------------------------------------------------------------------------------------------

// The bucket is that of the whole key. Lengths are recorded in 16 bits, so a longer key is stored
// as its first units (see recorded_len), and its fingerprint is computed from these. REQUIRES:
// there are buckets.
template <Unit T>
typename BufferHash<T>::Place BufferHash<T>::place_of(View key) const {
  const std::uint32_t hash = crc32(key);
  const std::uint32_t len = recorded_len(key.len());
  Place place(hash, bucket_cnt_);
  if (len != key.len())
    place.fingerprint = Place(crc32(key.sub_head(len)), bucket_cnt_).fingerprint;
  return place;
}

template <Unit T>
template <class Fn>
bool BufferHash<T>::walk(Fn fn) const {
  for (std::uint32_t i = 0; i < bucket_cnt_; ++i) {
    for (Node* node = buckets_[i].node(); node != nullptr; node = node->next()) {
      if (!fn(*node)) return false;
    }
  }
  return true;
}

extern template class BufferHash<unsigned char>;
extern template class BufferHash<unsigned short>;

}  // namespace tstl
