// MeasuringSink: counts the bytes of a message and records in the length list the lengths that the
// writing pass needs before it knows their content. Writes nothing.
#pragma once

#include <cstdint>

#include "corelib/io/wire/detail/pass_state.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

class MeasuringSink {
 public:
  MeasuringSink(PassState* state, std::uint64_t size) noexcept : state_(state), size_(size) {}
  // Bytes counted so far.
  [[nodiscard]] std::uint64_t position() const noexcept { return size_; }

  static constexpr bool room(std::uint64_t) noexcept { return true; }
  [[gnu::always_inline]] void put(std::uint64_t value) noexcept { size_ += varint_size(value); }
  void put_bytes(const BufferRef<unsigned char>& bytes) noexcept { size_ += bytes.len(); }
  static constexpr bool put_short_text(std::uint32_t, const BufferRef<unsigned short>&) noexcept {
    return false;
  }
  void put_text(const BufferRef<unsigned short>&, std::uint64_t size) noexcept { size_ += size; }

  [[nodiscard]] std::uint64_t begin_array(bool) const noexcept { return size_; }
  [[gnu::always_inline]] void end_array(std::uint64_t start, bool listed) noexcept {
    const std::uint64_t length = size_ - start;
    put(length);
    if (listed) state_->lengths_.add(length);
  }

  // Until the message ends, its slot holds the offset of its content.
  [[nodiscard, gnu::always_inline]] std::uint32_t begin_message(std::uint32_t) noexcept {
    return state_->lengths_.add(size_);
  }
  [[gnu::always_inline]] void end_message(std::uint32_t slot) noexcept {
    std::uint32_t* const length = state_->lengths_.find(slot);
    if (length == nullptr) return;
    // Modulo 2^32, like the recorded position: exact unless the whole message is too long anyway.
    *length = static_cast<std::uint32_t>(size_) - *length;
    put(*length);
  }

 protected:
  PassState* state_;

 private:
  std::uint64_t size_;
};

}  // namespace tstl::detail
