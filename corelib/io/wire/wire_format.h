// The elements of the Protocol Buffers wire format (its encoding guide): varints, keys and scalars.
//
// A varint is an unsigned integer, seven bits a byte, the least significant group first, the high
// bit set on every byte but the last. The shortest form is written; any form of up to ten bytes is
// read. A field begins with its key, the varint of field number * 8 + wire type.
//
// Nothing here allocates. Writing never fails. Reading returns null on failure, and reads no byte
// from `end` on.
#pragma once

#include <bit>
#include <concepts>
#include <cstdint>

namespace tstl {

// The most bytes that a 32-bit and a 64-bit value take.
inline constexpr unsigned kMaxVarint32 = 5;
inline constexpr unsigned kMaxVarint64 = 10;

// Bytes that `value` takes: 1 to 10.
[[nodiscard]] constexpr unsigned varint_size(std::uint64_t value) noexcept {
  if (value < 0x80) return 1;
  if (value < 0x4000) return 2;
  const auto bits = static_cast<unsigned>(std::bit_width(value | 1));
  return (bits * 9 + 64) / 64;  // bits / 7, rounded up, for 1 to 64 bits
}

// Writes varint_size(value) bytes at `at` and returns the position after them.
constexpr unsigned char* put_varint(unsigned char* at, std::uint64_t value) noexcept {
  for (; value >= 0x80; value >>= 7) *at++ = static_cast<unsigned char>(value | 0x80);
  *at++ = static_cast<unsigned char>(value);
  return at;
}

// A varint that was read: its value and the position after it, which is null when there was none.
struct Varint {
  std::uint64_t value;
  const unsigned char* after;
};

namespace detail {

// get_varint() for varints of more than two bytes.
[[gnu::noinline]] constexpr Varint get_long_varint(const unsigned char* at,
                                                   const unsigned char* end) noexcept {
  const unsigned char* const stop = end - at > kMaxVarint64 ? at + kMaxVarint64 : end;
  std::uint64_t value = 0;
  for (unsigned shift = 0; at != stop; shift += 7) {
    const std::uint64_t byte = *at++;
    value |= (byte & 0x7F) << shift;
    if (byte < 0x80) return {value, at};
  }
  return {0, nullptr};
}

}  // namespace detail

// Reads the varint at `at`. There is none when [at, end) does not hold the whole of it or when it
// has more than ten bytes. Bits beyond the 64th are dropped, as other decoders do.
[[nodiscard]] constexpr Varint get_varint(const unsigned char* at,
                                          const unsigned char* end) noexcept {
  if (at != end && at[0] < 0x80) return {at[0], at + 1};
  if (end - at >= 2 && at[1] < 0x80) return {(at[0] & 0x7Fu) | std::uint64_t{at[1]} << 7, at + 2};
  return detail::get_long_varint(at, end);
}

// The low three bits of a field's key: the layout of the value that follows. A group consists of
// the fields between a start and an end with the same number; the format has deprecated it. 6 and 7
// are not assigned.
enum class WireType : unsigned char {
  kVarint = 0,
  kFixed64 = 1,  // eight bytes, little-endian
  kBytes = 2,
  kGroupStart = 3,
  kGroupEnd = 4,
  kFixed32 = 5,  // four bytes, little-endian
};

// The key of a field, computed in 32 bits.
[[nodiscard]] constexpr std::uint32_t wire_key(std::uint32_t number, WireType type) noexcept {
  return number * 8 + static_cast<std::uint32_t>(type);
}

// The element types: bool and the integers.
template <class T>
concept WireScalar = std::integral<T> && !std::same_as<T, wchar_t> && !std::same_as<T, char8_t>;

// The types that are sent as four or eight bytes.
template <class T>
concept WireFixed = (std::integral<T> || std::floating_point<T>)&&(sizeof(T) == 4 ||
                                                                   sizeof(T) == 8);
template <WireFixed T>
inline constexpr WireType kFixedType = sizeof(T) == 4 ? WireType::kFixed32 : WireType::kFixed64;

// The value to write as a varint. Signed types are sign-extended to 64 bits, so a negative value
// takes ten bytes; the others are zero-extended. A plain char counts as signed, even on machines
// where it is not.
template <WireScalar T>
[[nodiscard]] constexpr std::uint64_t wire_value(T value) noexcept {
  if constexpr (std::same_as<T, char>) {
    return static_cast<std::uint64_t>(static_cast<signed char>(value));
  } else {
    return static_cast<std::uint64_t>(value);
  }
}

// The most bytes that a value of type T takes. The value with all bits set, -1 or the greatest,
// takes the most.
template <WireScalar T>
inline constexpr unsigned kMaxWireSize = varint_size(wire_value(static_cast<T>(-1)));

}  // namespace tstl
