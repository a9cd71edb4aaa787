#include "engine/records/codec.h"

#include <algorithm>

#include "corelib/base/bytes.h"
#include "corelib/io/wire/wire_format.h"

namespace zenta::records::detail {

// A varint ends with its first byte below 0x80.
std::uint32_t packed_count(Bytes packed, tstl::WireType type) noexcept {
  if (type == tstl::WireType::kFixed32) return packed.len() / 4;
  if (type == tstl::WireType::kFixed64) return packed.len() / 8;
  return static_cast<std::uint32_t>(std::count_if(packed.cbegin(), packed.cend(),
                                                  [](unsigned char byte) { return byte < 0x80; }));
}

bool PackedReader::next(std::uint64_t& bits) noexcept {
  if (at_ == end_) return false;
  if (type_ == tstl::WireType::kVarint) {
    const tstl::Varint number = tstl::get_varint(at_, end_);
    if (number.after == nullptr) {
      fault_ = end_ - at_ >= tstl::kMaxVarint64 ? tstl::WireFault::kOverlong
                                                : tstl::WireFault::kTruncated;
      return false;
    }
    bits = number.value;
    at_ = number.after;
    return true;
  }
  const bool is_long = type_ == tstl::WireType::kFixed64;
  if (end_ - at_ < (is_long ? 8 : 4)) {
    fault_ = tstl::WireFault::kTruncated;
    return false;
  }
  bits =
      is_long ? tstl::base::load_le<std::uint64_t>(at_) : tstl::base::load_le<std::uint32_t>(at_);
  at_ += is_long ? 8 : 4;
  return true;
}

}  // namespace zenta::records::detail
