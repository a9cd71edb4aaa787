#include "engine/records/codec.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "corelib/base/bytes.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/utf.h"

namespace zenta::records {

static_assert(std::endian::native == std::endian::little,
              "raw units are sent as they lie in memory");

// A text that does not fit gets a new block even when the old one has room for others: most texts
// are so short that little is lost.
bool ReadState::new_text_block(std::uint64_t n, Bytes payload) {
  const std::uint64_t size = std::max((n + 1) & ~std::uint64_t{1}, block_size_);
  auto* const block = static_cast<unsigned char*>(arena_.alloc(size, 4));
  if (block == nullptr) {
    stop_for_memory(payload.cstr());
    return false;
  }
  text_ = block;
  text_left_ = size;
  return true;
}

template <tstl::Unit T>
inline T* ReadState::begin_text(std::uint32_t n, Bytes payload) {
  const std::uint64_t size = (std::uint64_t{n} + 1) * sizeof(T);
  if (size > text_left_ && !new_text_block(size, payload)) return nullptr;
  return reinterpret_cast<T*>(text_);
}

// Text by text the block stays aligned for 16-bit units.
template <tstl::Unit T>
inline tstl::BufferRef<T> ReadState::end_text(std::size_t n) noexcept {
  auto* const units = reinterpret_cast<T*>(text_);
  units[n] = 0;
  const std::uint64_t size = ((n + 1) * sizeof(T) + 1) & ~std::uint64_t{1};
  text_ += size;
  text_left_ -= size;
  return {units, static_cast<std::uint32_t>(n)};
}

Bytes ReadState::keep_bytes(Bytes payload) {
  auto* const copy = begin_text<unsigned char>(payload.len(), payload);
  if (copy == nullptr) return {};
  tstl::base::copy_bytes(copy, payload.cstr(), payload.len());
  return end_text<unsigned char>(payload.len());
}

Text16 ReadState::keep_utf8(Bytes payload) {
  // UTF-8 never has fewer bytes than its text has units.
  auto* const units = begin_text<unsigned short>(payload.len(), payload);
  if (units == nullptr) return {};
  return end_text<unsigned short>(
      tstl::utf8_to_utf16(payload.cstr(), payload.len(), units, payload.len()));
}

Text16 ReadState::keep_units(Bytes payload) {
  const std::uint32_t n = payload.len() / 2;
  auto* const units = begin_text<unsigned short>(n, payload);
  if (units == nullptr) return {};
  if (n != 0) std::memcpy(units, payload.cstr(), std::size_t{n} * 2);
  return end_text<unsigned short>(n);
}

bool ReadState::refuse_integer(const tstl::JsonNode& node) noexcept {
  if (listener_ == nullptr) return false;
  return refuse(node.type() != tstl::JsonType::kNumber ? IgnoredReason::kOtherType
                : node.is_integer()                    ? IgnoredReason::kOutOfRange
                                                       : IgnoredReason::kNoInteger);
}

Bytes ReadState::keep_string(tstl::JsonNode& node, unsigned char) {
  const bool is_whole_message = block_size_ != 0;
  if (is_whole_message && !node.has_escapes()) return keep_bytes(node.raw());
  const Bytes text = node.str8(arena_);
  if (text.cstr() == nullptr) stop_for_memory();
  return text;
}

Text16 ReadState::keep_string(tstl::JsonNode& node, unsigned short) {
  const bool is_whole_message = block_size_ != 0;
  if (is_whole_message) {
    auto* const units = begin_text<unsigned short>(node.raw().len(), Bytes());
    return units == nullptr ? Text16() : end_text<unsigned short>(node.decode(units));
  }
  const Text16 text = node.str16(arena_);
  if (text.cstr() == nullptr) stop_for_memory();
  return text;
}

namespace detail {

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

}  // namespace detail

const char* ignored_reason_text(IgnoredReason reason) noexcept {
  switch (reason) {
    case IgnoredReason::kUnknownKey:
      return "an unknown key";
    case IgnoredReason::kOtherType:
      return "a value of another type";
    case IgnoredReason::kNoInteger:
      return "a number that is no integer";
    case IgnoredReason::kOutOfRange:
      return "a number out of range";
    case IgnoredReason::kCount:
      return "an array of another length";
    case IgnoredReason::kDepth:
      return "records nested too deep";
  }
  return "unknown reason";
}

}  // namespace zenta::records
