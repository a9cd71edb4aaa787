// Where each record of an image goes, worked out in the image's own table: no other memory is needed.
//
// Records of a bucket stand in the order of their keys, and buckets in the order of their first keys, so
// that words with a common start, which are often looked up one after another, are near each other. Three
// passes over the keys find that: the first counts the bytes of each bucket, the second goes through the keys
// in order and gives each new bucket the next free bytes, the third goes backwards and takes each
// record's place from the end of what is left of its bucket.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/containers/dict/format.h"

namespace tstl::detail {

// Five buckets for three keys: more than half of all buckets are empty then, where a search for
// what is not there ends in the table, which takes less than seven bytes a key.
constexpr std::uint64_t bucket_cnt_for(std::uint64_t keys) {
  return std::max<std::uint64_t>(1, keys * 5 / 3);
}

// A key takes a record and, rounded up, two buckets.
inline constexpr std::uint64_t kMostKeys =
    dict_format::kGreatestImage / (dict_format::kLeastRecord + 2 * sizeof(dict_format::Bucket));

class ImageLayout {
 public:
  // `table` has a zero word for each bucket.
  ImageLayout(dict_format::Bucket* table, std::uint32_t bucket_cnt)
      : table_(table), end_(dict_format::records_offset(bucket_cnt)) {}

  void prefetch(std::uint32_t bucket) const { __builtin_prefetch(table_ + bucket, 1); }

  // First, for each record in any order. REQUIRES of this and take(): `size` is that of a record, and
  // the image is no longer than kGreatestImage.
  void count(std::uint32_t bucket, std::uint64_t size) { set(bucket, get(bucket) + word(size)); }

  // Second, for each record in the order of keys.
  void start(std::uint32_t bucket) {
    const std::uint32_t size = get(bucket);
    if ((size & kStarted) != 0) return;
    end_ += size;
    set(bucket, word(end_) | kStarted);
  }

  // Third, for each record backwards: its offset, and in kIsLast whether it is its bucket's last one.
  std::uint32_t take(std::uint32_t bucket, std::uint64_t size) {
    const std::uint32_t end = get(bucket);
    const std::uint32_t offset = (end & ~kFlags) - word(size);
    set(bucket, offset | kStarted | kHasLast);
    return offset | ((end & kHasLast) == 0 ? kIsLast : 0);
  }
  static constexpr std::uint32_t kIsLast = 1;

  // Then the table is that of the image.
  void finish(std::uint32_t bucket_cnt) {
    for (std::uint32_t i = 0; i < bucket_cnt; ++i) set(i, get(i) & ~kFlags);
  }

 private:
  // In the bits that an offset or a size does not use.
  static constexpr std::uint32_t kStarted = 1, kHasLast = 2, kFlags = 3;
  static_assert(dict_format::kRecordAlignment == kFlags + 1);

  static std::uint32_t word(std::uint64_t n) {
    assert(n <= dict_format::kGreatestImage);
    return static_cast<std::uint32_t>(n);
  }
  std::uint32_t get(std::uint32_t bucket) const { return table_[bucket].first.get(); }
  void set(std::uint32_t bucket, std::uint32_t word) { table_[bucket].first.set(word); }

  dict_format::Bucket* table_;
  std::uint64_t end_;
};

inline void write_header(unsigned char* image, std::uint64_t keys, std::uint64_t length) {
  auto* const header = reinterpret_cast<dict_format::Header*>(image);
  header->bucket_cnt.set(static_cast<std::uint32_t>(bucket_cnt_for(keys)));
  // The number of keys; but a reader wants it not to be zero.
  header->key_cnt.set(std::max(static_cast<std::uint32_t>(keys), 1u));
  header->length.set(static_cast<std::uint32_t>(length));
  header->reserved.set(0);
}

// Writes a record with the low 31 bits of the value. The bytes need not be zero before.
template <Unit T>
void write_record(unsigned char* place, BufferRef<T> key, std::uint64_t value, bool is_last) {
  using Node = BufferDictNode<T>;
  // The zero unit and the padding lie within the last four bytes.
  base::store_le<std::uint32_t>(place + Node::node_size(key.len()) - sizeof(std::uint32_t), 0);
  auto* const record = reinterpret_cast<Node*>(place);
  base::store_le<std::uint32_t>(place, (static_cast<std::uint32_t>(value) & ~Node::kLastFlag) |
                                           (is_last ? Node::kLastFlag : 0));
  record->init_key(key);
}

// So many keys ahead memory is fetched.
inline constexpr std::size_t kAhead = 16;

// Calls early(i) for the numbers [0, n) and late(i) for each kAhead numbers later.
template <class Early, class Late>
void for_each_ahead(std::size_t n, Early early, Late late) {
  for (std::size_t i = 0; i < n + kAhead; ++i) {
    if (i < n) early(i);
    if (i >= kAhead) late(i - kAhead);
  }
}

inline constexpr std::uint64_t kGreatestValue = ~dict_format::kLastFlag;

}  // namespace tstl::detail
