#include "corelib/io/wire/wire_read.h"

namespace tstl {

WireReader::Other WireReader::read_other(const unsigned char* start, const unsigned char* at,
                                         const unsigned char* end, std::uint64_t key) noexcept {
  const auto type = static_cast<WireType>(key & 7);
  if (type == WireType::kGroupStart) {
    return skip_group(start, at, end, static_cast<std::uint32_t>(key >> 3));
  }
  if (type == WireType::kGroupEnd) return {start, WireFault::kGroup};
  if (type != WireType::kFixed32 && type != WireType::kFixed64) {
    return {start, WireFault::kWireType};
  }
  const std::uint32_t size = fixed_size(type);
  if (end - at < static_cast<std::ptrdiff_t>(size)) return {at, WireFault::kTruncated};
  return {at + size, WireFault::kNone, size, load_fixed(type, at)};
}

// The numbers of the open groups are kept here instead of on the call stack.
WireReader::Other WireReader::skip_group(const unsigned char* start, const unsigned char* at,
                                         const unsigned char* end, std::uint32_t number) noexcept {
  std::uint32_t open[kMaxGroupDepth] = {number};
  for (unsigned depth = 1; depth != 0;) {
    if (at == end) return {start, WireFault::kTruncated};
    const unsigned char* const field = at;
    WireReader rest({at, static_cast<std::uint32_t>(end - at)});
    std::uint64_t key, length = 0;
    if (!rest.varint(key)) return {rest.at_, rest.fault_};
    if (key > kMaxKey || key < 8) return {field, WireFault::kFieldNumber};
    const auto type = static_cast<WireType>(key & 7);
    at = rest.at_;
    if (type == WireType::kGroupStart) {
      if (depth == kMaxGroupDepth) return {field, WireFault::kDepth};
      open[depth++] = static_cast<std::uint32_t>(key >> 3);
    } else if (type == WireType::kGroupEnd) {
      if (open[--depth] != key >> 3) return {field, WireFault::kGroup};
    } else if (type == WireType::kVarint || type == WireType::kBytes) {
      const bool good = rest.varint(length) && (type == WireType::kVarint || rest.skip(length));
      if (!good) return {rest.at_, rest.fault_};
      at = rest.at_;
    } else {
      const Other other = read_other(field, at, end, key);
      if (other.fault != WireFault::kNone) return other;
      at = other.at;
    }
  }
  return {at};
}

const char* wire_fault_text(WireFault fault) noexcept {
  switch (fault) {
    case WireFault::kNone:
      return "no fault";
    case WireFault::kTruncated:
      return "the message ends inside a field";
    case WireFault::kOverlong:
      return "a varint of more than ten bytes";
    case WireFault::kGroup:
      return "a group end that matches no open group";
    case WireFault::kWireType:
      return "a wire type that does not exist";
    case WireFault::kFieldNumber:
      return "a field number out of range";
    case WireFault::kDepth:
      return "records or groups are nested too deep";
  }
  return "unknown fault";
}

}  // namespace tstl
