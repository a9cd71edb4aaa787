// BufferDict: a read-only dictionary in one contiguous image, which is searched in place.
//
//   tstl::BufferDict<unsigned char> dict;
//   if (dict.open("words.dict") == tstl::FAILURE) return 1;  // 0 is success
//   const auto* const record = dict.find("你好");             // null: it is not there
//   if (record != nullptr) total += record->value();
//   dict.for_each([&](Text key, std::uint64_t value) { total += key.len() * value; });
//
//   offset 0           16                    16 + 4B
//          +-----------+---------------------+-----------------------------------------+
//          | B, keys,  | offset of the first | records: value and "last of its bucket" |
//          | length, 0 | record of a bucket  | (4 bytes), key length (2), key, zeros   |
//          +-----------+---------------------+-----------------------------------------+
//
// An image is built from a BufferHash, or from pairs by DictBuilder, and saved to a file. Opening
// one, from a file or a buffer of bytes, builds nothing. The layout is in format.h;
// docs/formats/dictionary-image.md describes it with an example.
//
// A dictionary owns its image, in memory or mapped, and releases it in close(), the next open or
// its destructor; records and keys that were found are valid until then. It is never changed, so
// any number of threads may search it.
//
// Untrusted bytes may be opened. Opening checks the header only. Every look-up and traversal then
// stays inside the image, and ends, whatever the offsets and lengths say: a record that does not
// lie wholly inside the image is not returned, and its chain ends before it. check() tells whether
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
    kNoMemory,     // an allocation for the check failed
    kTableCut,     // the image ends inside its table
    kOffset,       // a first record's offset is no multiple of 4, or inside the table
    kOutside,      // the record extends past the end of the image
    kShared,       // the record overlaps another one
    kPadding,      // the bytes after the key are not all zero
    kWrongBucket,  // the key's hash belongs to another bucket
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

  // Each closes the present image first. 0, or FAILURE and an empty dictionary.
  //
  // Reads a regular file into memory. If its header does not agree with its size, reads no more
  // than the header.
  std::uint32_t open(const char* path);
  // The same, but maps the file: nothing is copied, and only what look-ups access is read. The file
  // must not be changed meanwhile. If another process truncates it, access past the new end raises
  // SIGBUS; if one writes to it, the dictionary changes. No check can rule that out. Replacing the
  // file as save() does is safe: the old file stays mapped. Use open() for files that others may
  // change.
  std::uint32_t open_mapped(const char* path);
  // Takes the buffer over, even if it is no image.
  std::uint32_t open(Buffer<unsigned char>&& image);
  // Builds the image of a table: each key once, with the value of the node that find() returns. (If
  // it returns none, because the key's recorded length wrapped: the least value.) The low 31 bits
  // of a value are kept; `cut` receives the number of values that have more. Fails if an allocation
  // fails or the image would be longer than 4,294,967,294 bytes. The image depends on the table's
  // contents only, not on the order of insertion.
  std::uint32_t open(const BufferHash<T>& table, std::uint32_t* cut = nullptr);

  // Writes the image to a new file in the same folder, then atomically replaces the file at `path`
  // by it. So at every moment, even after a crash, the path names the old file or the whole new
  // one. (A device or a pipe is written directly.) 0; or FAILURE with the file unchanged, if there
  // is no image or it could not be written whole.
  std::uint32_t save(const char* path) const;

  // As BufferList::write_kvfile, in the order of for_each. Of an image that is not whole it writes
  // the records that a traversal reaches, with no more bytes of keys than the image has, and
  // returns false if the traversal was cut short.
  bool write_kvfile(const char* path, T separator, bool crlf) const;

  void close();
  bool is_empty() const { return header_ == nullptr; }
  // The bytes of the image; a mapped image is in the const state.
  const Buffer<unsigned char>& ref_internal_data() const { return image_; }

  // Whether the image is whole: the table and every record lie inside it, no two records overlap,
  // each is in the bucket of its key's hash, and the padding is zero. (A key might still occur
  // twice; look-ups return the first.) Time and memory are proportional to the image's length.
  // False if it is empty or an allocation fails.
  bool check() const { return find_fault().kind == DictFault::Kind::kNone; }
  // The same, but returns the first fault in the order of buckets.
  DictFault find_fault() const;

  // Buckets that can be used: fewer than the header says if the image ends inside the table.
  std::uint32_t bucket_cnt() const { return bucket_cnt_; }
  // The bucket of a key: its CRC-32 modulo the number of usable buckets; 0 when there are none.
  std::uint32_t hash_id(View key) const {
    return bucket_cnt_ == 0 ? 0 : dict_format::bucket_of(key, bucket_cnt_);
  }

  // The record of the key, or null; and whether there is one.
  const Node* find(View key) const { return bucket_cnt_ == 0 ? nullptr : find_key(key); }
  bool match(View key) const { return find(key) != nullptr; }

  // Looks up `n` keys and stores a record or null for each. In a large image this is several times
  // as quick as single calls, because the memory accesses overlap.
  void find_all(const View* keys, std::uint32_t n, const Node** nodes) const;

  // Call fn(BufferRef const& key, u64& value), or fn(Node const&) if it takes that, for every
  // record, bucket by bucket. The value is a copy. for_each_bk stops at the first call that returns
  // false and then returns false, else true. An image that is not whole may cut a traversal short:
  // a chain that leaves the image ends there. Because buckets may share records, the traversal also
  // ends before the records visited exceed the image's length in bytes. for_each_bk returns false
  // in both cases.
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
  // Whether the units of a record at `offset` would be aligned, and so those of all records after
  // it.
  bool is_aligned(std::uint64_t offset) const {
    return reinterpret_cast<std::uintptr_t>(bytes() + offset) % alignof(T) == 0;
  }
  // Prefetches the image at `offset`, if that lies inside.
  void prefetch(std::uint64_t offset) const {
    if (offset < image_.len()) __builtin_prefetch(bytes() + offset);
  }
  // Prefetches the first record of the bucket kAhead after this one.
  void prefetch_ahead(std::uint32_t bucket) const {
    if (bucket_cnt_ - bucket > kAhead) prefetch(first_offset(bucket + kAhead));
  }
  // False if the image ends inside its table.
  bool has_whole_table() const { return is_empty() || bucket_cnt_ == header_->bucket_cnt.get(); }
  const Node* find_key(View key) const;
  // Not inlined, because it would make the look-up of a short key save registers.
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

// The record at `offset`; null unless it lies wholly inside the image and its units are aligned.
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
  std::uint64_t left = image_.len();  // bytes that records may still have
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
