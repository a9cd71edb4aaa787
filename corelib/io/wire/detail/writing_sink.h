// WritingSink: writes a message to the output and takes the lengths from the length list, as the
// measuring pass recorded them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/io/wire/detail/pass_state.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/utf.h"

namespace tstl::detail {

class WritingSink {
 public:
  WritingSink(PassState* state, unsigned char* at) noexcept : state_(state), at_(at) {}
  // Where the next byte goes; null while the output has no memory.
  [[nodiscard]] unsigned char* position() const noexcept { return at_; }

  [[gnu::always_inline]] bool room(std::uint64_t n) noexcept {
    at_ = state_->out_.room(at_, n);
    return at_ != nullptr;
  }
  [[gnu::always_inline]] void put(std::uint64_t value) noexcept { at_ = put_varint(at_, value); }
  [[gnu::always_inline]] void put_bytes(const BufferRef<unsigned char>& bytes) noexcept {
    base::copy_bytes(at_, bytes.cstr(), bytes.len());
    at_ += bytes.len();
  }
  // Converts without measuring first: reserves one byte for the length. 42 units, of at most three
  // bytes each, never need more.
  [[gnu::always_inline]] bool put_short_text(std::uint32_t key,
                                             const BufferRef<unsigned short>& text) noexcept {
    constexpr std::uint64_t kShort = 0x7F / 3;
    constexpr std::uint64_t kAmple = 32;  // a conversion with this much unused space is quicker
    const std::uint64_t n = text.len();
    if (n > kShort || !state_->out_.has_room(at_, 2 * kMaxVarint32 + 3 * n + kAmple)) return false;
    put(wire_key(key, WireType::kBytes));
    put(0);
    const std::size_t size =
        utf16_to_utf8(text.cstr(), n, at_, 3 * n + kAmple, LoneSurrogate::kKeep);
    at_[-1] = static_cast<unsigned char>(size);
    at_ += size;
    return true;
  }
  [[gnu::always_inline]] void put_text(const BufferRef<unsigned short>& text,
                                       std::uint64_t size) noexcept {
    at_ += utf16_to_utf8(text.cstr(), text.len(), at_, size, LoneSurrogate::kKeep);
  }

  // Returns where the elements begin. The length of a short array is written when the array ends.
  [[nodiscard, gnu::always_inline]] std::uint64_t begin_array(bool listed) noexcept {
    put(listed ? state_->lengths_.next() : 0);
    return state_->out_.position(at_);
  }
  [[gnu::always_inline]] void end_array(std::uint64_t start, bool listed) noexcept {
    if (listed) return;
    unsigned char* const payload = state_->out_.place(start);
    const std::ptrdiff_t size = at_ - payload;
    payload[-1] = size & 0x7F;
    if (size >= 0x80) [[unlikely]]
      at_ = state_->widen_length(at_, start);
  }

  [[nodiscard, gnu::always_inline]] std::uint32_t begin_message(std::uint32_t) noexcept {
    put(state_->lengths_.next());
    return FAILURE;
  }
  void end_message(std::uint32_t) noexcept {}

 protected:
  PassState* state_;
  unsigned char* at_;
};

}  // namespace tstl::detail
