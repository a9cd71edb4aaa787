// PatchingSink: writes a message in a single pass, without a length list. It reserves bytes for
// each length and writes the length when its content ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/io/wire/detail/writing_sink.h"

namespace tstl::detail {

class PatchingSink : public WritingSink {
 public:
  using WritingSink::WritingSink;

  // Every array has one byte reserved; a longer length moves the payload.
  [[nodiscard, gnu::always_inline]] std::uint64_t begin_array(bool) noexcept {
    return WritingSink::begin_array(false);
  }
  [[gnu::always_inline]] void end_array(std::uint64_t start, bool) noexcept {
    WritingSink::end_array(start, false);
  }

  // Reserves as many bytes as the last length with the same low key bits took. Until the message
  // ends, the first of them holds the index in widths_ (high half) and the width (low half). The
  // slot is the offset of that byte.
  [[nodiscard, gnu::always_inline]] std::uint32_t begin_message(std::uint32_t key) noexcept {
    const std::uint32_t index = key % PassState::kWidths;
    const auto slot = static_cast<std::uint32_t>(state_->out_.position(at_));
    *at_ = static_cast<unsigned char>(index << 4 | state_->widths_[index]);
    at_ += state_->widths_[index];
    return slot;
  }
  [[gnu::always_inline]] void end_message(std::uint32_t slot) noexcept {
    if (slot == FAILURE || at_ == nullptr) return;
    unsigned char* const length = state_->out_.place(slot);
    const std::ptrdiff_t size = at_ - length - 1;
    if ((*length & 15) == 1 && size < 0x80) {
      *length = static_cast<unsigned char>(size);
    } else {
      at_ = state_->patch_length(at_, slot);
    }
  }
};

}  // namespace tstl::detail
