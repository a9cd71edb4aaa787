// KeyProbe: a key made ready for comparison with many nodes. A node is read where it lies, and what
// can be done before its memory arrives is done before: two words of it settle keys of up to 12
// bytes, and nothing after their arrival depends on how long the key is.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/containers/keyed_node.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

template <Unit T>
class KeyProbe {
 public:
  // Views the key's units.
  explicit KeyProbe(BufferRef<T> key) : key_(key) {
    if (is_plain()) return;
    const auto first = base::load<Half>(bytes());
    start_ = Word{first} << 32 | key.len();
    end_ = size() >= sizeof(Word) ? base::load<Word>(bytes() + size() - sizeof(Word))
                                  : end_of_short(first);
  }

  // Whether the node has this key: the same length and the same units. Reads kLeastKeyBytes of its key.
  bool matches(const KeyedNode<T>& node) const {
    if (is_plain()) return is_key_of(node);
    if (base::load<Word>(node.key_start()) != start_) return false;
    const unsigned char* const units = bytes_of(node);
    if (base::load<Word>(units + size() - sizeof(Word)) != end_) return false;
    for (std::size_t i = sizeof(Half); i + sizeof(Word) < size(); i += sizeof(Word)) {
      if (base::load<Word>(units + i) != base::load<Word>(bytes() + i)) return false;
    }
    return true;
  }

  // Whether this key orders after that of the node.
  bool follows(const KeyedNode<T>& node) const {
    if (is_plain() || node.len() * sizeof(T) < sizeof(Half)) return is_after_key_of(node);
    const std::uint32_t rank = rank_of(base::load<Half>(bytes()));
    const std::uint32_t other = rank_of(base::load<Half>(bytes_of(node)));
    return rank != other ? rank > other : is_after_key_of(node);
  }

 private:
  using Word = std::uint64_t;
  using Half = std::uint32_t;

  const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(key_.cstr()); }
  std::size_t size() const { return key_.len() * sizeof(T); }
  static const unsigned char* bytes_of(const KeyedNode<T>& node) {
    return reinterpret_cast<const unsigned char*>(node.str());
  }

  // Whether the key is compared without these words, being too short for them.
  bool is_plain() const { return size() < sizeof(Half); }
  // Out of line, for they are rare, and would make the rest save registers.
  [[gnu::noinline]] bool is_key_of(const KeyedNode<T>& node) const { return key_ == node.key(); }
  [[gnu::noinline]] bool is_after_key_of(const KeyedNode<T>& node) const {
    return key_.is_greater(node.key());
  }

  // The same of four to seven bytes, which do not fill the eight: in front of them is the end of the
  // key length. Put together in a register, for what is read from two stores waits for them.
  Word end_of_short(Half first) const {
    const std::size_t n = size();
    const Word last = base::load<Half>(bytes() + n - sizeof(Half));
    return last << 32 | Word{first} << 8 * (sizeof(Word) - n) |
           key_.len() >> 8 * (n - sizeof(Half));
  }

  // A number that orders as the units in these bytes do.
  static std::uint32_t rank_of(Half bytes) {
    return sizeof(T) == 1 ? __builtin_bswap32(bytes) : std::rotl(bytes, 16);
  }

  BufferRef<T> key_;
  Word start_ = 0;  // what a node with this key has from its key length on
  Word end_ = 0;    // and what in the eight bytes before the key's end
};

}  // namespace tstl::detail
