// TrieKey: a key and the bytes that a trie stores for it. An 8-bit key is its own bytes. Of a
// 16-bit key each unit is two bytes, the high one first, so that the bytes order as the units do.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

template <Unit T>
class TrieKey {
 public:
  using Bytes = BufferRef<unsigned char>;

  // Set both forms from one, which must outlive the object. False if the allocation for the other
  // form fails.
  bool set_units(BufferRef<T> units);
  bool set_bytes(Bytes bytes);

  BufferRef<T> units() const { return units_; }
  Bytes bytes() const { return bytes_; }

 private:
  Bytes bytes_;
  BufferRef<T> units_;
  Buffer<unsigned char> bytes_room_;
  Buffer<T> units_room_;
};

template <Unit T>
bool TrieKey<T>::set_units(BufferRef<T> units) {
  units_ = units;
  if constexpr (sizeof(T) == 1) {
    bytes_ = units;
  } else {
    const std::uint64_t size = std::uint64_t{units.len()} * 2;
    if (!bytes_room_.clear().recapacity(size)) return false;
    unsigned char* to = bytes_room_.str();
    for (const T unit : units) {
      *to++ = static_cast<unsigned char>(unit >> 8);
      *to++ = static_cast<unsigned char>(unit);
    }
    bytes_ = Bytes(bytes_room_.str(), static_cast<unsigned>(size));
  }
  return true;
}

template <Unit T>
bool TrieKey<T>::set_bytes(Bytes bytes) {
  bytes_ = bytes;
  if constexpr (sizeof(T) == 1) {
    units_ = bytes;
  } else {
    const unsigned len = bytes.len() / 2;
    if (!units_room_.clear().recapacity(len)) return false;
    for (unsigned i = 0; i < len; ++i) {
      units_room_.str()[i] = static_cast<T>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
    units_ = BufferRef<T>(units_room_.str(), len);
  }
  return true;
}

}  // namespace tstl::detail
