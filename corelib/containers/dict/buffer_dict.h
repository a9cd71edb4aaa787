// BufferDict: a dictionary as one contiguous image, which is searched in place.
//
//   tstl::BufferDict<unsigned char> dict;
//   if (dict.open("words.dict") == tstl::FAILURE) return 1;  // 0 is success
//   const auto* const record = dict.find("你好");             // null: it is not there
//   if (record != nullptr) total += record->value();
//   dict.for_each([&](Text key, std::uint64_t value) { total += key.len() * value; });
//
//   offset 0           16                    16 + 4B
//          +-----------+---------------------+-----------------------------------------+
//          | B, keys,  | where each bucket's | records: value and "last of its bucket" |
//          | length, 0 | records begin       | (4 bytes), key units (2), key, zeros    |
//          +-----------+---------------------+-----------------------------------------+
//
// It is built from a BufferHash, saved to a file, and opened from a file or a buffer of bytes, with
// nothing to be built. (DictBuilder makes images of pairs.) The layout is format.h;
// docs/formats/dictionary-image.md tells it with an example.
//
// A dictionary owns its image, in memory or mapped, and lets go of it with close(), the next open or its
// end; records and keys that were found die with it. It is never changed, so that any number of threads
// may search it.
//
// Bytes from anywhere may be opened. Opening looks at the header only; every look-up and traversal
// then stays inside the image, and ends, whatever the offsets and lengths say: what does not lie
// wholly inside the image counts as no record, and its chain ends before it. check() tells whether
// an image is whole. A key of an image that was not checked need not end with a zero.
#pragma once

#include <concepts>
#include <cstdint>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/dict/format.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// What is wrong with an image, and where.
struct DictFault {
  enum class Kind : unsigned char {
    kNone,
    kNoImage,      // the dictionary is empty
    kNoMemory,     // to look for faults
    kTableCut,     // the image ends inside its table
    kOffset,       // of a first record: no multiple of 4, or inside the table
    kOutside,      // the record passes the end of the image
    kShared,       // the record has bytes that another one has, too
    kPadding,      // something else than zeros behind the key
    kWrongBucket,  // the key's hash is that of another bucket
  };
  Kind kind = Kind::kNone;
  std::uint32_t bucket = 0;
  std::uint64_t offset = 0;  // of the record
};

template <Unit T>
class BufferDict {
 public:
  using Node = BufferDictNode<T>;
  using View = BufferRef<T>;

  BufferDict() = default;
  ~BufferDict() { close(); }
  BufferDict(BufferDict&& other) noexcept { *this = std::move(other); }
  BufferDict& operator=(BufferDict&& other) noexcept;

  // Each lets go of the present image first. 0, or FAILURE and an empty dictionary.
  //
  // Reads a regular file whole; of one whose header does not agree with its size, the header only.
  std::uint32_t open(const char* path);
  // The same, but maps the file: nothing is copied, and no more is read than look-ups touch. The file
  // has to stay as long as it is. When somebody cuts it, touching what was cut ends the process with
  // SIGBUS, and when somebody writes to it the dictionary changes; no check can rule that out. Whoever
  // replaces it as save() does harms nobody: who mapped the old file keeps it. Take open() for files
  // that others may change.
  std::uint32_t open_mapped(const char* path);
  // Takes the buffer over, also when it turns out to be no image.
  std::uint32_t open(Buffer<unsigned char>&& image);
  // Builds the image of a table: each key once, with the value of the node that find() gives (when it
  // gives none, because the recorded length wrapped, the least value), of which the low 31 bits are
  // kept. `cut` receives the number of values that have more. Fails when memory is short or the image
  // would pass 2^32 bytes. An image depends on the table's contents only, not on the order in which
  // they came.
  std::uint32_t open(const BufferHash<T>& table, std::uint32_t* cut = nullptr);

  // Writes the image to a new file in the same folder, and puts that in the place of the file in one
  // step: at every moment, a crash's included, the path leads to the old file or to the whole new one.
  // (A device or a pipe is written itself.) 0, or FAILURE with the file as it was when there is no image
  // or it could not be written whole.
  std::uint32_t save(const char* path) const;

  // As that of BufferList, in the order of for_each. Of an image that is not whole it writes what a
  // traversal meets, no more bytes of keys than the image has, and returns false if that was cut short.
  bool write_kvfile(const char* path, T separator, bool crlf) const;

  void close();
  bool is_empty() const { return header_ == nullptr; }
  // A mapped image is there as a const text.
  const Buffer<unsigned char>& ref_internal_data() const { return image_; }

  // Whether the image is whole: the table and every record lie inside it, no two records share a
  // byte, each has the bucket of its key's hash, and what is no value, key or length is as the
  // format tells. (A key might still be there twice; look-ups give the first.) Time and memory are
  // in proportion to the image's length. False when it is empty or memory is short.
  bool check() const { return find_fault().kind == DictFault::Kind::kNone; }
  // The same, with the first fault in the order of buckets.
  DictFault find_fault() const;

  // Buckets that can be used: fewer than the header says when the image ends inside the table.
  std::uint32_t bucket_cnt() const { return bucket_cnt_; }
  // The bucket of a key: its CRC-32 modulo the number of usable buckets; 0 when there are none.
  std::uint32_t hash_id(View key) const {
    return bucket_cnt_ == 0 ? 0 : dict_format::bucket_of(key, bucket_cnt_);
  }

  // The record of the key, or null; and whether there is one.
  const Node* find(View key) const { return bucket_cnt_ == 0 ? nullptr : find_key(key); }
  bool match(View key) const { return find(key) != nullptr; }

  // Looks up `n` keys and stores a record or null for each; in a large image several times as quick
  // as one after another, since the waits for memory overlap.
  void find_all(const View* keys, std::uint32_t n, const Node** nodes) const;

  // Call fn(BufferRef const& key, u64& value), or fn(Node const&) if it takes that, for every
  // record, bucket by bucket. The value is a copy. for_each_bk stops at the first call that returns
  // false and returns false then, else true. An image that is not whole may cut a traversal short:
  // a chain that leaves the image ends there, and because buckets may share records, all ends when the
  // records would pass the image's length. for_each_bk returns false then, too.
  template <class Fn>
  void for_each(Fn&& fn) const {
    for_each_node([&](const Node& node) { return visit(node, fn), true; });
  }
  template <class Fn>
  bool for_each_bk(Fn&& fn) const {
    return for_each_node([&](const Node& node) { return visit(node, fn); });
  }

 private:
  static constexpr std::uint32_t kAhead = 16;

  std::uint32_t itn_open();
  void set_table(const dict_format::Header& header);
  const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(header_); }
  std::uint32_t first_offset(std::uint32_t bucket) const { return table_[bucket].first.get(); }
  // Whether units may lie in a record there; they may then in all that follow it, too.
  bool is_aligned(std::uint64_t offset) const {
    return reinterpret_cast<std::uintptr_t>(bytes() + offset) % alignof(T) == 0;
  }
  // Starts to fetch what lies there, if that is in the image.
  void prefetch(std::uint64_t offset) const {
    if (offset < image_.len()) __builtin_prefetch(bytes() + offset);
  }
  // Starts to fetch the first record of a bucket soon after this one.
  void prefetch_ahead(std::uint32_t bucket) const {
    if (bucket_cnt_ - bucket > kAhead) prefetch(first_offset(bucket + kAhead));
  }
  // False when the image ends inside its table.
  bool has_whole_table() const { return is_empty() || bucket_cnt_ == header_->bucket_cnt.get(); }
  const Node* find_key(View key) const;
  // Not inlined: it would make a look-up of a short key save registers.
  [[gnu::noinline]] const Node* find_any(View key) const;
  const Node* find_in(std::uint32_t bucket, View key) const;
  const Node* record_at(std::uint64_t offset) const;
  const Node* first_record(std::uint32_t bucket) const;
  const Node* next_record(const Node* node) const;
  std::uint64_t offset_of(const Node* node) const {
    return static_cast<std::uint64_t>(reinterpret_cast<const unsigned char*>(node) - bytes());
  }

  template <class Fn>
  static decltype(auto) visit(const Node& node, Fn& fn);
  template <class Fn>
  bool for_each_node(Fn&& fn) const;

  const dict_format::Header* header_ = nullptr;
  const dict_format::Bucket* table_ = nullptr;
  std::uint32_t bucket_cnt_ = 0;
  bool is_mapped_ = false;  // the image is a mapping
  Buffer<unsigned char> image_;
};

// ---------------------------------------------------------------------------------------------------------------------

// The record at `offset`, if it lies wholly inside the image and its units are where units may be.
template <Unit T>
const BufferDictNode<T>* BufferDict<T>::record_at(std::uint64_t offset) const {
  const std::uint64_t length = image_.len();
  if (offset + sizeof(Node) > length || !is_aligned(offset)) return nullptr;
  const auto* const node = reinterpret_cast<const Node*>(bytes() + offset);
  return offset + node->node_size() <= length ? node : nullptr;
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::first_record(std::uint32_t bucket) const {
  const std::uint32_t offset = first_offset(bucket);
  return offset == dict_format::kEmptyBucket ? nullptr : record_at(offset);
}

template <Unit T>
const BufferDictNode<T>* BufferDict<T>::next_record(const Node* node) const {
  return node->is_lastnode() ? nullptr : record_at(offset_of(node) + node->node_size());
}

template <Unit T>
template <class Fn>
decltype(auto) BufferDict<T>::visit(const Node& node, Fn& fn) {
  if constexpr (std::invocable<Fn&, const Node&>) {
    return fn(node);
  } else {
    std::uint64_t value = node.value();
    const View key = node.key();
    return fn(key, value);
  }
}

template <Unit T>
template <class Fn>
bool BufferDict<T>::for_each_node(Fn&& fn) const {
  std::uint64_t left = image_.len();  // for the bytes of all records
  bool whole = has_whole_table();
  for (std::uint32_t bucket = 0; bucket < bucket_cnt_; ++bucket) {
    prefetch_ahead(bucket);
    bool ended = first_offset(bucket) == dict_format::kEmptyBucket;
    for (const Node* node = first_record(bucket); node != nullptr; node = next_record(node)) {
      const std::uint64_t size = node->node_size();
      if (size > left || !fn(*node)) return false;
      left -= size;
      ended = node->is_lastnode();
    }
    whole = whole && ended;
  }
  return whole;
}

extern template class BufferDict<unsigned char>;
extern template class BufferDict<unsigned short>;

}  // namespace tstl
