// WireReader: walks through a message in the Protocol Buffers wire format and returns its fields
// one by one.
//
//   WireReader reader(message);
//   for (WireField field; reader.next(field);) ...   // see field.key() or field.number()
//   if (reader.fault() != WireFault::kNone) ...      // at reader.position()
//
// The reader owns nothing and copies nothing: a field's bytes are a view into the message, which
// must outlive it. Groups are skipped with their contents, if they are nested at most
// kMaxGroupDepth deep. A malformed message ends at its first fault; the fields before it remain
// valid. No byte outside the message is read, whatever its bytes are, and every call of next()
// consumes something, so the walk ends.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

enum class WireFault : unsigned char {
  kNone,
  kTruncated,    // a varint, a fixed value, a payload or a group goes on past the message's end
  kOverlong,     // a varint of more than ten bytes
  kGroup,        // the end of a group other than the innermost open one
  kWireType,     // a field of the wire types 6 and 7, which do not exist
  kFieldNumber,  // a field number of 0 or above 2^29 - 1
  kDepth,        // groups, or the records of a message, are nested too deep
};

// The greatest nesting depth of groups; other decoders have the same limit.
inline constexpr unsigned kMaxGroupDepth = 100;

// A description of the fault for people: zero-terminated, with static storage.
[[nodiscard]] const char* wire_fault_text(WireFault fault) noexcept;

// One decoded field. Its type decides which of its values is valid.
class WireField {
 public:
  WireField() = default;
  // Field number * 8 + wire type.
  [[nodiscard]] std::uint32_t key() const noexcept { return key_; }
  [[nodiscard]] std::uint32_t number() const noexcept { return key_ >> 3; }
  [[nodiscard]] WireType type() const noexcept { return static_cast<WireType>(key_ & 7); }
  [[nodiscard]] std::uint64_t varint() const noexcept { return varint_; }
  // The bits of a fixed-size value: all 64, or the lower 32.
  [[nodiscard]] std::uint64_t fixed() const noexcept { return varint_; }
  // The payload, a view into the message. For other types: empty, at the first byte of the field.
  [[nodiscard]] BufferRef<unsigned char> bytes() const noexcept { return {bytes_, length_}; }

 private:
  friend class WireReader;
  WireField(std::uint64_t key, std::uint64_t value, const unsigned char* place) noexcept
      : key_(static_cast<std::uint32_t>(key)), varint_(value), bytes_(place) {}
  WireField(std::uint64_t key, const unsigned char* bytes, std::uint64_t length) noexcept
      : key_(static_cast<std::uint32_t>(key)),
        length_(static_cast<std::uint32_t>(length)),
        bytes_(bytes) {}

  // Scalars only, so that a field stays in registers between the reader and the code that it is
  // passed to.
  std::uint32_t key_ = 0;
  std::uint32_t length_ = 0;
  std::uint64_t varint_ = 0;
  const unsigned char* bytes_ = nullptr;
};

class WireReader {
 public:
  explicit WireReader(BufferRef<unsigned char> message) noexcept
      : begin_(message.cbegin()), at_(begin_), end_(message.cend()) {}

  // Reads the next field. False at the end of the message and at its first fault, and in all calls
  // after that; `field` is unchanged then.
  [[nodiscard]] bool next(WireField& field) noexcept;

  // Reads the next field only if it has this key, in a single byte and not that of a group. It is
  // for readers that know which field usually comes next. False, with nothing read, when anything
  // else comes, a fault included; next() reads that. With a constant key it is several times as
  // quick as next().
  [[nodiscard]] bool next_if(std::uint32_t key, WireField& field) noexcept;

  // Whether the whole message was read, or reading has ended at a fault.
  [[nodiscard]] bool at_end() const noexcept { return at_ == end_; }
  [[nodiscard]] WireFault fault() const noexcept { return fault_; }
  // The number of bytes read; after a fault, the offset of the key, value, length or payload that
  // is malformed.
  [[nodiscard]] std::uint32_t position() const noexcept {
    return static_cast<std::uint32_t>(at_ - begin_);
  }

 private:
  static constexpr std::uint64_t kMaxKey = 0xFFFFFFFF;  // field number 2^29 - 1 with any wire type

  bool varint(std::uint64_t& value) noexcept;
  bool skip(std::uint64_t n) noexcept;
  // The result of reading a field that is neither a varint nor bytes: the position after it, or
  // that of its fault. A fixed-size value comes with its size in bytes, which is 0 for a group.
  struct Other {
    const unsigned char* at;
    WireFault fault = WireFault::kNone;
    std::uint32_t size = 0;
    std::uint64_t value = 0;
  };
  // Reads such a field, whose key begins at `start` and ends at `at`. It is static and not inlined,
  // so that next() is short and a reader stays in registers where next() is inlined.
  static Other read_other(const unsigned char* start, const unsigned char* at,
                          const unsigned char* end, std::uint64_t key) noexcept;
  static Other skip_group(const unsigned char* start, const unsigned char* at,
                          const unsigned char* end, std::uint32_t number) noexcept;
  // The fixed-size value at `at`.
  static std::uint64_t load_fixed(WireType type, const unsigned char* at) noexcept {
    return type == WireType::kFixed32 ? base::load_le<std::uint32_t>(at)
                                      : base::load_le<std::uint64_t>(at);
  }
  static std::uint32_t fixed_size(WireType type) noexcept {
    return type == WireType::kFixed32 ? 4 : 8;
  }
  bool fail(WireFault fault) noexcept;
  bool fail_at(const unsigned char* place, WireFault fault) noexcept {
    at_ = place;
    return fail(fault);
  }

  const unsigned char* begin_;
  const unsigned char* at_;
  const unsigned char* end_;  // moved to at_ by a fault, so that nothing is read after it
  WireFault fault_ = WireFault::kNone;
};

// ---------------------------------------------------------------------------------------------------------------------

inline bool WireReader::fail(WireFault fault) noexcept {
  fault_ = fault;
  end_ = at_;
  return false;
}

inline bool WireReader::varint(std::uint64_t& value) noexcept {
  const Varint found = get_varint(at_, end_);
  if (found.after == nullptr) {
    return fail(end_ - at_ >= kMaxVarint64 ? WireFault::kOverlong : WireFault::kTruncated);
  }
  value = found.value;
  at_ = found.after;
  return true;
}

inline bool WireReader::skip(std::uint64_t n) noexcept {
  if (n > static_cast<std::uint64_t>(end_ - at_)) return fail(WireFault::kTruncated);
  at_ += n;
  return true;
}

[[gnu::always_inline]] inline bool WireReader::next_if(std::uint32_t key,
                                                       WireField& field) noexcept {
  if (at_ == end_ || *at_ != key || key >= 0x80) return false;
  const auto type = static_cast<WireType>(key & 7);
  if (type == WireType::kFixed32 || type == WireType::kFixed64) {
    if (end_ - at_ <= static_cast<std::ptrdiff_t>(fixed_size(type))) return false;
    field = WireField(key, load_fixed(type, at_ + 1), at_);
    at_ += 1 + fixed_size(type);
    return true;
  }
  const Varint number = get_varint(at_ + 1, end_);
  const bool is_number = type == WireType::kVarint;
  assert(is_number || type == WireType::kBytes);
  if (number.after == nullptr) return false;
  if (is_number) {
    field = WireField(key, number.value, at_);
    at_ = number.after;
    return true;
  }
  if (number.value > static_cast<std::uint64_t>(end_ - number.after)) return false;
  field = WireField(key, number.after, number.value);
  at_ = number.after + number.value;
  return true;
}

inline bool WireReader::next(WireField& field) noexcept {
  while (at_ != end_) {
    const unsigned char* const start = at_;
    std::uint64_t key, number;
    if (!varint(key)) return false;
    if (key > kMaxKey || key < 8) return fail_at(start, WireFault::kFieldNumber);
    const auto type = static_cast<WireType>(key & 7);
    if (type == WireType::kVarint) {
      if (!varint(number)) return false;
      field = WireField(key, number, start);
      return true;
    }
    if (type == WireType::kBytes) {
      if (!varint(number)) return false;
      const unsigned char* const bytes = at_;
      if (!skip(number)) return false;
      field = WireField(key, bytes, number);
      return true;
    }
    const Other other = read_other(start, at_, end_, key);
    at_ = other.at;
    if (other.fault != WireFault::kNone) return fail(other.fault);
    if (other.size == 0) continue;
    field = WireField(key, other.value, start);
    return true;
  }
  return false;
}

}  // namespace tstl
