// The field operations of ProtoWrite, once for all passes: a pass is these operations over a sink.
// The operations are documented at ProtoWrite.
//
// A sink takes what a message is made of, in order, and either counts it (measuring_sink.h) or
// writes it (writing_sink.h, patching_sink.h):
//
//   room(n) -> bool        makes space for n bytes; false when it cannot. Called before a put
//   put(value)             a varint
//   put_bytes(bytes)       bytes as they are
//   put_text(text, size)   16-bit text as UTF-8, which takes `size` bytes
//   put_short_text(key, text) -> bool
//                          writes a whole field if the sink has a quicker way; false if it has not
//   begin_array(listed) -> start, end_array(start, listed)
//                          called around the elements of a packed array. `listed`: its length goes
//                          through the length list
//   begin_message(key) -> slot, end_message(slot)
//                          called around the content of a nested message. `slot` is FAILURE if
//                          end_message() has no length to write
#pragma once

#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/base/vector_ref.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/utf.h"

namespace tstl {

class ProtoWrite;

namespace detail {

// Packed arrays of fewer elements have one byte reserved for their length: ten elements of at most
// ten bytes each take at most 100. The lengths of the others go through the length list.
inline constexpr std::uint32_t kListedArray = 11;

// A pass is two words: a pointer to the state that all passes share, and the position. The position
// stays in a register while the pass is a local variable, or is passed by value and returned. That
// makes encoding quick: the operations of a writer load and store the position at each field.
template <class Sink>
class Pass : private Sink {
 public:
  using Sink::Sink;

  template <WireScalar T>
  [[gnu::always_inline]] void bsc_write_kvarint(std::uint32_t key,
                                                std::type_identity_t<T> value) noexcept {
    if (!Sink::room(kMaxVarint32 + kMaxWireSize<T>)) [[unlikely]]
      return;
    Sink::put(wire_key(key, WireType::kVarint));
    Sink::put(wire_value<T>(value));
  }

  template <WireFixed T>
  [[gnu::always_inline]] void bsc_write_kfixed(std::uint32_t key,
                                               std::type_identity_t<T> value) noexcept {
    static_assert(std::endian::native == std::endian::little, "sent as it lies in memory");
    if (!Sink::room(kMaxVarint32 + sizeof value)) [[unlikely]]
      return;
    Sink::put(wire_key(key, kFixedType<T>));
    unsigned char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    Sink::put_bytes({bytes, sizeof value});
  }

  template <WireScalar T>
  void bsc_write_karrpack(std::uint32_t key, const VectorRef<T>& values) noexcept {
    const bool listed = values.size() >= kListedArray;
    if (!Sink::room(kMaxKeyAndLength)) [[unlikely]]
      return;
    Sink::put(wire_key(key, WireType::kBytes));
    const std::uint64_t start = Sink::begin_array(listed);
    for (const T value : values) {
      if (!Sink::room(kMaxWireSize<T>)) [[unlikely]]
        return;
      Sink::put(wire_value<T>(value));
    }
    Sink::end_array(start, listed);
  }

  [[gnu::always_inline]] void bsc_write_kbytes(std::uint32_t key,
                                               const BufferRef<unsigned char>& bytes) noexcept {
    if (!Sink::room(kMaxKeyAndLength + bytes.len())) [[unlikely]]
      return;
    put_key_and_length(key, bytes.len());
    Sink::put_bytes(bytes);
  }

  [[gnu::always_inline]] void bsc_write_kstr16(std::uint32_t key,
                                               const BufferRef<unsigned short>& text) noexcept {
    if (Sink::put_short_text(key, text)) return;
    const std::uint64_t size = utf8_size(text.cstr(), text.len(), LoneSurrogate::kKeep);
    if (!Sink::room(kMaxKeyAndLength + size)) [[unlikely]]
      return;
    put_key_and_length(key, size);
    Sink::put_text(text, size);
  }

  [[nodiscard, gnu::always_inline]] std::uint32_t bsc_begin_kmsg(bool sized,
                                                                 std::uint32_t key) noexcept {
    std::uint32_t slot = FAILURE;
    if (sized && Sink::room(kMaxKeyAndLength)) [[likely]] {
      Sink::put(wire_key(key, WireType::kBytes));
      slot = Sink::begin_message(key);
    }
    assert(Sink::state_->note_begin(slot));
    return slot;
  }

  [[gnu::always_inline]] void bsc_end_kmsg(std::uint32_t slot) noexcept {
    assert(Sink::state_->note_end(slot) && "nested messages end in another order than they began");
    Sink::end_message(slot);
  }

 private:
  friend class tstl::ProtoWrite;
  static constexpr std::uint64_t kMaxKeyAndLength = 2 * kMaxVarint32;

  [[gnu::always_inline]] void put_key_and_length(std::uint32_t key, std::uint64_t length) noexcept {
    Sink::put(wire_key(key, WireType::kBytes));
    Sink::put(length);
  }
};

}  // namespace detail
}  // namespace tstl
