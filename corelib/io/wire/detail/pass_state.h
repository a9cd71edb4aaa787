// What the passes of one ProtoWrite share: the output, the length list, and the widths that
// lengths had so far.
#pragma once

#include <cstdint>

#include "corelib/io/output.h"
#include "corelib/io/wire/detail/length_list.h"

namespace tstl::detail {

// The output position is not kept here. A sink holds it in a register and hands it in by value; the
// functions return where it is now, or null when memory is short.
class PassState {
 protected:
  friend class MeasuringSink;
  friend class WritingSink;
  friend class PatchingSink;
  template <class Sink>
  friend class Pass;

  // What the assertions about the order of nested messages ask: always true, and whether `slot` is
  // that of the message which began last.
  bool note_begin(std::uint32_t slot) noexcept {
    if (open_ < kTracked) open_slots_[open_] = slot;
    return ++open_ != 0;
  }
  bool note_end(std::uint32_t slot) noexcept {
    return open_ != 0 && (--open_ >= kTracked || open_slots_[open_] == slot);
  }

  // For a payload [payload_at, at) that has one byte reserved before it for its length, and needs
  // more: moves the payload up and writes the length before it. Returns the payload's new end.
  unsigned char* widen_length(unsigned char* at, std::uint64_t payload_at) noexcept;
  // Patches the length of the nested message that ends at `at`. Its length is at `length_at`, as
  // PatchingSink::begin_message() left it. When the width reserved is wrong, moves the content, and
  // stores the right width for the next message. Returns the message's new end.
  unsigned char* patch_length(unsigned char* at, std::uint32_t length_at) noexcept;

  Output out_;
  LengthList lengths_;
  // The width in bytes of the last nested message's length, indexed by the low bits of its key.
  static constexpr std::uint32_t kWidths = 16;
  static constexpr std::uint32_t kTracked = 8;
  std::uint32_t open_slots_[kTracked] = {};  // of the outermost open messages, for assertions only
  std::uint32_t open_ = 0;                   // messages that began and did not end; the same
  unsigned char widths_[kWidths] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
};

}  // namespace tstl::detail
