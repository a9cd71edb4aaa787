// The state that the passes of one ProtoWrite share: the output, the length list, and the widths of
// the lengths written last.
#pragma once

#include <cstdint>

#include "corelib/io/output.h"
#include "corelib/io/wire/detail/length_list.h"

namespace tstl::detail {

// The output position is not kept here. A sink holds it in a register and passes it in by value;
// the functions return the new position, or null when an allocation failed.
class PassState {
 protected:
  friend class MeasuringSink;
  friend class WritingSink;
  friend class PatchingSink;
  template <class Sink>
  friend class Pass;

  // For assertions about the order of nested messages. note_begin() is always true. note_end() is
  // true if `slot` belongs to the message that began last.
  bool note_begin(std::uint32_t slot) noexcept {
    if (open_ < kTracked) open_slots_[open_] = slot;
    return ++open_ != 0;
  }
  bool note_end(std::uint32_t slot) noexcept {
    return open_ != 0 && (--open_ >= kTracked || open_slots_[open_] == slot);
  }

  // Widens the length before the payload [payload_at, at), which has one byte reserved but needs
  // more: moves the payload up and writes the length before it. Returns the payload's new end.
  unsigned char* widen_length(unsigned char* at, std::uint64_t payload_at) noexcept;
  // Patches the length of the nested message that ends at `at`. Its length is at `length_at`, as
  // PatchingSink::begin_message() left it. When the width reserved is wrong, moves the content, and
  // stores the right width for the next message. Returns the message's new end.
  unsigned char* patch_length(unsigned char* at, std::uint32_t length_at) noexcept;

  Output out_;
  LengthList lengths_;
  static constexpr std::uint32_t kWidths = 16;
  static constexpr std::uint32_t kTracked = 8;
  std::uint32_t open_slots_[kTracked] = {};  // of the outermost open messages, for assertions only
  std::uint32_t open_ = 0;                   // nested messages that are open, for assertions only
  // The width in bytes of the last nested message's length, indexed by the low bits of its key.
  unsigned char widths_[kWidths] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
};

}  // namespace tstl::detail
