// WireWalk: visits every field of a message in the Protocol Buffers wire format, with its offset.
// Unlike a reader of messages it visits unknown fields, and groups with the fields in them.
#pragma once

#include <cstdint>
#include <vector>

#include "corelib/io/wire/wire_format.h"
#include "corelib/io/wire/wire_read.h"
#include "corelib/text/buffer_ref.h"

namespace zenta::zentactl {

struct WireItem {
  std::uint32_t offset = 0;  // of its key
  std::uint32_t number = 0;
  tstl::WireType type = tstl::WireType::kVarint;
  std::uint64_t value = 0;               // of a varint; the bits of a fixed32 or fixed64
  std::uint32_t payload_offset = 0;      // of kBytes
  tstl::BufferRef<unsigned char> bytes;  // of kBytes: a view of the message
  std::uint32_t groups = 0;              // that it lies in; a group's start and end lie outside it
};

class WireWalk {
 public:
  // `message` must outlive the items. `base` is added to all offsets: where a nested message
  // begins.
  explicit WireWalk(tstl::BufferRef<unsigned char> message, std::uint32_t base = 0)
      : begin_(message.cbegin()), at_(begin_), end_(message.cend()), base_(base) {}

  // Gets the next field, or the start or end of a group. False at the end and at the first fault.
  [[nodiscard]] bool Next(WireItem& item);

  // The fault, and the offset of the broken part. If groups do not end, that is the innermost
  // one's.
  [[nodiscard]] tstl::WireFault fault() const { return fault_; }
  [[nodiscard]] std::uint32_t fault_offset() const { return fault_offset_; }

 private:
  struct Group {
    std::uint32_t number, offset;
  };

  [[nodiscard]] std::uint32_t Offset(const unsigned char* at) const {
    return base_ + static_cast<std::uint32_t>(at - begin_);
  }
  bool Fail(tstl::WireFault fault, std::uint32_t offset);
  bool ReadVarint(std::uint64_t& value);
  bool ReadValue(WireItem& item);
  bool ReadFixed(WireItem& item, std::uint32_t size);
  bool ReadBytes(WireItem& item);
  bool ReadGroup(WireItem& item);

  const unsigned char* begin_;
  const unsigned char* at_;
  const unsigned char* end_;
  std::uint32_t base_;
  std::vector<Group> open_;  // at most tstl::kMaxGroupDepth
  tstl::WireFault fault_ = tstl::WireFault::kNone;
  std::uint32_t fault_offset_ = 0;
};

// Whether the bytes are a message that is not empty: every field ends within them. Nested messages
// are not looked into.
[[nodiscard]] bool LooksLikeMessage(tstl::BufferRef<unsigned char> bytes);

// "varint", "bytes".
[[nodiscard]] const char* WireTypeName(tstl::WireType type);

}  // namespace zenta::zentactl
