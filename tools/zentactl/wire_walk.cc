#include "tools/zentactl/wire_walk.h"

#include <limits>

#include "corelib/base/bytes.h"

namespace zenta::zentactl {

using tstl::WireFault;
using tstl::WireType;

bool WireWalk::Fail(WireFault fault, std::uint32_t offset) {
  fault_ = fault;
  fault_offset_ = offset;
  end_ = at_;
  open_.clear();
  return false;
}

bool WireWalk::ReadVarint(std::uint64_t& value) {
  const tstl::Varint read = tstl::get_varint(at_, end_);
  if (read.after == nullptr) {
    const bool is_long = end_ - at_ >= tstl::kMaxVarint64;
    return Fail(is_long ? WireFault::kOverlong : WireFault::kTruncated, Offset(at_));
  }
  value = read.value;
  at_ = read.after;
  return true;
}

bool WireWalk::ReadFixed(WireItem& item, std::uint32_t size) {
  if (end_ - at_ < static_cast<std::ptrdiff_t>(size)) {
    return Fail(WireFault::kTruncated, Offset(at_));
  }
  item.value =
      size == 4 ? tstl::base::load_le<std::uint32_t>(at_) : tstl::base::load_le<std::uint64_t>(at_);
  at_ += size;
  return true;
}

bool WireWalk::ReadBytes(WireItem& item) {
  std::uint64_t length;
  if (!ReadVarint(length)) return false;
  if (length > static_cast<std::uint64_t>(end_ - at_)) {
    return Fail(WireFault::kTruncated, Offset(at_));
  }
  item.payload_offset = Offset(at_);
  item.bytes = {at_, static_cast<std::uint32_t>(length)};
  at_ += length;
  return true;
}

bool WireWalk::ReadGroup(WireItem& item) {
  if (item.type == WireType::kGroupStart) {
    if (open_.size() == tstl::kMaxGroupDepth) return Fail(WireFault::kDepth, item.offset);
    open_.push_back({item.number, item.offset});
    return true;
  }
  if (open_.empty() || open_.back().number != item.number) {
    return Fail(WireFault::kGroup, item.offset);
  }
  open_.pop_back();
  item.groups = static_cast<std::uint32_t>(open_.size());
  return true;
}

bool WireWalk::ReadValue(WireItem& item) {
  switch (item.type) {
    case WireType::kVarint:
      return ReadVarint(item.value);
    case WireType::kFixed64:
      return ReadFixed(item, 8);
    case WireType::kBytes:
      return ReadBytes(item);
    case WireType::kGroupStart:
    case WireType::kGroupEnd:
      return ReadGroup(item);
    case WireType::kFixed32:
      return ReadFixed(item, 4);
  }
  return Fail(WireFault::kWireType, item.offset);
}

bool WireWalk::Next(WireItem& item) {
  if (at_ == end_) {
    if (!open_.empty()) Fail(WireFault::kTruncated, open_.back().offset);
    return false;
  }
  item = WireItem();
  item.offset = Offset(at_);
  item.groups = static_cast<std::uint32_t>(open_.size());
  std::uint64_t key;
  if (!ReadVarint(key)) return false;
  if (key < 8 || key > std::numeric_limits<std::uint32_t>::max()) {
    return Fail(WireFault::kFieldNumber, item.offset);
  }
  item.number = static_cast<std::uint32_t>(key >> 3);
  item.type = static_cast<WireType>(key & 7);
  return ReadValue(item);
}

bool LooksLikeMessage(tstl::BufferRef<unsigned char> bytes) {
  WireWalk walk(bytes);
  for (WireItem item; walk.Next(item);) {
  }
  return walk.fault() == WireFault::kNone && !bytes.is_empty();
}

const char* WireTypeName(WireType type) {
  switch (type) {
    case WireType::kVarint:
      return "varint";
    case WireType::kFixed64:
      return "fixed64";
    case WireType::kBytes:
      return "bytes";
    case WireType::kGroupStart:
      return "group";
    case WireType::kGroupEnd:
      return "end of group";
    case WireType::kFixed32:
      return "fixed32";
  }
  return "no wire type";
}

}  // namespace zenta::zentactl
