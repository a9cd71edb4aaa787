// ImageLayout: computes the offset of each record of an image, in the image's own table, so that no
// other memory is needed.
//
// The records of a bucket are in the order of their keys, and the buckets' records in the order of
// the buckets' first keys. So words with a common prefix, which are often looked up in sequence,
// are near each other. It takes three passes over the keys. The first counts the bytes of each
// bucket. The second, in the order of keys, allots the next free bytes to each new bucket. The
// third, in reverse order, takes each record's offset from the end of its bucket's free bytes.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/containers/dict/format.h"

namespace tstl::detail {

// Five buckets for three keys. More than half of all buckets are then empty, and a search for an
// absent key in one of them ends in the table. The table takes less than seven bytes per key.
constexpr std::uint64_t bucket_cnt_for(std::uint64_t keys) {
  return std::max<std::uint64_t>(1, keys * 5 / 3);
}

// The most keys for which an image can be made: each takes a record and up to two buckets.
inline constexpr std::uint64_t kMostKeys =
    dict_format::kGreatestImage / (dict_format::kLeastRecord + 2 * sizeof(dict_format::Bucket));

class ImageLayout {
 public:
  // REQUIRES: the `bucket_cnt` words of `table` are zero.
  ImageLayout(dict_format::Bucket* table, std::uint32_t bucket_cnt)
      : table_(table), end_(dict_format::records_offset(bucket_cnt)) {}

  void prefetch(std::uint32_t bucket) const { __builtin_prefetch(table_ + bucket, 1); }

  // Pass 1, for each record in any order. REQUIRES, as take() does: `size` is that of the record,
  // and the image is not longer than kGreatestImage.
  void count(std::uint32_t bucket, std::uint64_t size) { set(bucket, get(bucket) + word(size)); }

  // Pass 2, for each record in the order of keys.
  void start(std::uint32_t bucket) {
    const std::uint32_t size = get(bucket);
    if ((size & kStarted) != 0) return;
    end_ += size;
    set(bucket, word(end_) | kStarted);
  }

  // Pass 3, for each record in the reverse order of keys. Returns its offset, with kIsLast set if
  // it is its bucket's last record.
  std::uint32_t take(std::uint32_t bucket, std::uint64_t size) {
    const std::uint32_t end = get(bucket);
    const std::uint32_t offset = (end & ~kFlags) - word(size);
    set(bucket, offset | kStarted | kHasLast);
    return offset | ((end & kHasLast) == 0 ? kIsLast : 0);
  }
  static constexpr std::uint32_t kIsLast = 1;

  // After pass 3: clears the flags, so that the table is that of the image.
  void finish(std::uint32_t bucket_cnt) {
    for (std::uint32_t i = 0; i < bucket_cnt; ++i) set(i, get(i) & ~kFlags);
  }

 private:
  // Flags in the low bits, which are zero in offsets and sizes.
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
  // The number of keys, but at least 1, because readers refuse 0.
  header->key_cnt.set(std::max(static_cast<std::uint32_t>(keys), 1u));
  header->length.set(static_cast<std::uint32_t>(length));
  header->reserved.set(0);
}

// Writes a record with the low 31 bits of the value, its zero unit and its padding.
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

// The prefetch distance, in keys.
inline constexpr std::size_t kAhead = 16;

// Calls early(i) and late(i) for each i in [0, n), late(i) after early(i + kAhead).
template <class Early, class Late>
void for_each_ahead(std::size_t n, Early early, Late late) {
  for (std::size_t i = 0; i < n + kAhead; ++i) {
    if (i < n) early(i);
    if (i >= kAhead) late(i - kAhead);
  }
}

inline constexpr std::uint64_t kGreatestValue = ~dict_format::kLastFlag;

}  // namespace tstl::detail
