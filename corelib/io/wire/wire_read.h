// WireReader: walks through a message in the Protocol Buffers wire format and hands out its fields
// one by one.
//
//   WireReader reader(message);
//   for (WireField field; reader.next(field);) ...   // field.key() tells what it is
//   if (reader.fault() != WireFault::kNone) ...      // reader.position() tells where
//
// The reader owns nothing and copies nothing: a field's bytes are a view into the message, which
// must outlive it. Only varints and length-delimited fields are handed out; fields of 64 and 32
// fixed bits are stepped over. A message that is malformed ends at its first fault; what was handed
// out before remains good. No byte outside the message is read, whatever its bytes say, and every
// call of next() consumes something, so the walk ends.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/io/wire/wire_format.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

enum class WireFault : unsigned char {
  kNone,
  kTruncated,    // a varint, a fixed value or a payload goes on past the end of the message
  kOverlong,     // a varint of more than ten bytes
  kGroup,        // a field of the wire types 3 and 4, which nothing here writes
  kWireType,     // a field of the wire types 6 and 7, which do not exist
  kFieldNumber,  // a field number of 0 or above 2^29 - 1
};

// The fault in words, for people: a zero-terminated text that lives for ever.
[[nodiscard]] const char* wire_fault_text(WireFault fault) noexcept;

// One decoded field. Its type decides which of the two values counts; the other is 0 or empty.
class WireField {
 public:
  WireField() = default;
  // Field number * 8 + wire type.
  [[nodiscard]] std::uint32_t key() const noexcept { return key_; }
  [[nodiscard]] std::uint32_t number() const noexcept { return key_ >> 3; }
  [[nodiscard]] WireType type() const noexcept { return static_cast<WireType>(key_ & 7); }
  [[nodiscard]] std::uint64_t varint() const noexcept { return varint_; }
  // A part of the message.
  [[nodiscard]] BufferRef<unsigned char> bytes() const noexcept { return {bytes_, length_}; }

 private:
  friend class WireReader;
  WireField(std::uint64_t key, std::uint64_t varint) noexcept
      : key_(static_cast<std::uint32_t>(key)), varint_(varint) {}
  WireField(std::uint64_t key, const unsigned char* bytes, std::uint64_t length) noexcept
      : key_(static_cast<std::uint32_t>(key)),
        length_(static_cast<std::uint32_t>(length)),
        bytes_(bytes) {}

  // Plain words, so that a field stays in registers between the reader and the code that it is
  // handed to.
  std::uint32_t key_ = 0;
  std::uint32_t length_ = 0;
  std::uint64_t varint_ = 0;
  const unsigned char* bytes_ = nullptr;
};

class WireReader {
 public:
  explicit WireReader(BufferRef<unsigned char> message) noexcept
      : begin_(message.cbegin()), at_(begin_), end_(message.cend()) {}

  // Reads the next field. False at the end of the message and at its first fault, with `field` as
  // it was; it stays false then.
  [[nodiscard]] bool next(WireField& field) noexcept;

  // The same, but only for a field with this key, of a varint or of bytes, in a single byte: for
  // readers who know what comes next as a rule. False, with nothing read, when something else comes,
  // a fault too; next() reads that. With a constant key it is several times as quick as next().
  [[nodiscard]] bool next_if(std::uint32_t key, WireField& field) noexcept;

  // Whether next() would find nothing more.
  [[nodiscard]] bool at_end() const noexcept { return at_ == end_; }
  [[nodiscard]] WireFault fault() const noexcept { return fault_; }
  // How many bytes were read; after a fault, the offset of the key, value, length or payload that
  // is broken.
  [[nodiscard]] std::uint32_t position() const noexcept {
    return static_cast<std::uint32_t>(at_ - begin_);
  }

 private:
  static constexpr std::uint64_t kMaxKey = 0xFFFFFFFF;  // field number 2^29 - 1 with any wire type

  bool varint(std::uint64_t& value) noexcept;
  bool skip(std::uint64_t n) noexcept;
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
  const Varint number = get_varint(at_ + 1, end_);
  const bool is_number = static_cast<WireType>(key & 7) == WireType::kVarint;
  assert(is_number || static_cast<WireType>(key & 7) == WireType::kBytes);
  if (number.after == nullptr) return false;
  if (is_number) {
    field = WireField(key, number.value);
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
    switch (static_cast<WireType>(key & 7)) {
      case WireType::kVarint:
        if (!varint(number)) return false;
        field = WireField(key, number);
        return true;
      case WireType::kBytes: {
        if (!varint(number)) return false;
        const unsigned char* const bytes = at_;
        if (!skip(number)) return false;
        field = WireField(key, bytes, number);
        return true;
      }
      case WireType::kFixed64:
        if (!skip(8)) return false;
        break;
      case WireType::kFixed32:
        if (!skip(4)) return false;
        break;
      default:
        return fail_at(start, (key & 7) < 5 ? WireFault::kGroup : WireFault::kWireType);
    }
  }
  return false;
}

}  // namespace tstl
