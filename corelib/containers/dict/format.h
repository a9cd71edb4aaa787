// The layout of a dictionary image, which docs/formats/dictionary-image.md describes: a Header, a
// table of Buckets, and records (BufferDictNode). The builder, the reader and the check share it.
//
// All integers are little-endian. Offsets count bytes from the start of the image, lengths count
// bytes. Every structure here has an alignment of 1, so that it can be read at any address.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/crc32.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

namespace dict_format {

// A little-endian integer in the image.
template <class Word>
class Little {
 public:
  Word get() const { return base::load_le<Word>(bytes_); }
  void set(Word word) { base::store_le<Word>(bytes_, word); }

 private:
  unsigned char bytes_[sizeof(Word)];
};

struct Header {
  Little<std::uint32_t> bucket_cnt;  // not 0
  Little<std::uint32_t> key_cnt;     // not 0: an image without keys has 1
  Little<std::uint32_t> length;      // of the whole image
  Little<std::uint32_t> reserved;    // written as 0, never read
};
static_assert(sizeof(Header) == 16 && alignof(Header) == 1 && std::is_trivial_v<Header>);
static_assert(offsetof(Header, bucket_cnt) == 0 && offsetof(Header, key_cnt) == 4 &&
              offsetof(Header, length) == 8 && offsetof(Header, reserved) == 12);

// An entry of the table, which follows the header.
struct Bucket {
  Little<std::uint32_t> first;  // offset of the bucket's first record, or kEmptyBucket
};
static_assert(sizeof(Bucket) == 4 && alignof(Bucket) == 1 && std::is_trivial_v<Bucket>);

inline constexpr std::uint32_t kEmptyBucket = 0;

// The start of a record. The key's units, a zero unit and the padding follow.
struct RecordHead {
  Little<std::uint32_t> word;     // the value, and kLastFlag
  Little<std::uint16_t> key_len;  // in units
};
static_assert(sizeof(RecordHead) == 6 && alignof(RecordHead) == 1 && std::is_trivial_v<RecordHead>);
static_assert(offsetof(RecordHead, word) == 0 && offsetof(RecordHead, key_len) == 4);

// In a record's word: this is the last record of its bucket. The other bits are the value.
inline constexpr std::uint32_t kLastFlag = 0x80000000;
inline constexpr std::uint32_t kGreatestKey = 0xFFFF;  // in units

// Records start at multiples of this. Zero bytes fill the gap after each.
inline constexpr std::uint64_t kRecordAlignment = 4;

constexpr std::uint64_t record_size(std::uint64_t key_len, std::uint64_t unit_size) {
  const std::uint64_t end = sizeof(RecordHead) + (key_len + 1) * unit_size;
  return (end + kRecordAlignment - 1) / kRecordAlignment * kRecordAlignment;
}

// The same for units of either width.
inline constexpr std::uint64_t kLeastRecord = record_size(0, 1);
static_assert(kLeastRecord == 8 && record_size(0, 2) == kLeastRecord);
static_assert(record_size(1, 1) == 8 && record_size(2, 1) == 12 && record_size(1, 2) == 12);

constexpr std::uint64_t table_size(std::uint64_t bucket_cnt) { return bucket_cnt * sizeof(Bucket); }
// Offset of the first record, after the whole table.
constexpr std::uint64_t records_offset(std::uint64_t bucket_cnt) {
  return sizeof(Header) + table_size(bucket_cnt);
}
static_assert(records_offset(5) == 36 && records_offset(0) % kRecordAlignment == 0 &&
              sizeof(Bucket) % kRecordAlignment == 0);

// The limits of an image's length in bytes; others are refused. Offsets and the length have 32
// bits, and a buffer has to hold the image.
inline constexpr std::uint32_t kLeastImage = sizeof(Header) + 1;
inline constexpr std::uint64_t kGreatestImage = Buffer<unsigned char>::kGreatestCapacity;
static_assert(kLeastImage == 17 && kGreatestImage <= 0xFFFFFFFF);

// The bucket of a key. REQUIRES: bucket_cnt > 0.
template <Unit T>
std::uint32_t bucket_of(BufferRef<T> key, std::uint32_t bucket_cnt) {
  return crc32(key) % bucket_cnt;
}

}  // namespace dict_format

// A record: the head, the key's units, a zero unit, zero bytes up to the next multiple of 4.
template <Unit T>
class BufferDictNode {
 public:
  using unit_type = T;
  static constexpr std::uint32_t kLastFlag = dict_format::kLastFlag;

  std::uint32_t value() const { return head_.word.get() & ~kLastFlag; }
  bool is_lastnode() const { return (head_.word.get() & kLastFlag) != 0; }
  std::uint32_t len() const { return head_.key_len.get(); }
  const T* str() const { return reinterpret_cast<const T*>(this + 1); }
  BufferRef<T> key() const { return BufferRef<T>(str(), len()); }

  // Each sets one part of the word and keeps the other. Of a value the low 31 bits are stored.
  void set_value(std::uint32_t value) {
    head_.word.set((head_.word.get() & kLastFlag) | (value & ~kLastFlag));
  }
  void set_lastnode(bool last) { head_.word.set(value() | (last ? kLastFlag : 0)); }

  // Writes the key's length and units; not the zero unit and the padding. REQUIRES: the key has at
  // most kGreatestKey units.
  void init_key(BufferRef<T> key) {
    assert(key.len() <= dict_format::kGreatestKey);
    head_.key_len.set(static_cast<std::uint16_t>(key.len()));
    if (key)
      std::memcpy(reinterpret_cast<unsigned char*>(this + 1), key.cstr(), key.len() * sizeof(T));
  }
  // The bytes from the key length on; every record has four of them.
  const unsigned char* key_start() const {
    return reinterpret_cast<const unsigned char*>(this) +
           offsetof(dict_format::RecordHead, key_len);
  }

  // Bytes of this record, and of one with a key of `length` units.
  std::uint64_t node_size() const { return node_size(len()); }
  static constexpr std::uint64_t node_size(std::uint32_t length) {
    return dict_format::record_size(length, sizeof(T));
  }

  // The address after this record; next_not_last() returns null if this is the last record of its
  // bucket. Neither checks whether a record is there: in an unchecked image use for_each.
  const BufferDictNode* next() const {
    return reinterpret_cast<const BufferDictNode*>(reinterpret_cast<const unsigned char*>(this) +
                                                   node_size());
  }
  const BufferDictNode* next_not_last() const { return is_lastnode() ? nullptr : next(); }

 private:
  dict_format::RecordHead head_;
};
static_assert(sizeof(BufferDictNode<unsigned char>) == sizeof(dict_format::RecordHead) &&
              sizeof(BufferDictNode<unsigned short>) == sizeof(dict_format::RecordHead));
static_assert(alignof(BufferDictNode<unsigned char>) == 1 &&
              alignof(BufferDictNode<unsigned short>) == 1);
static_assert(std::is_trivial_v<BufferDictNode<unsigned char>> &&
              std::is_trivial_v<BufferDictNode<unsigned short>>);

}  // namespace tstl
