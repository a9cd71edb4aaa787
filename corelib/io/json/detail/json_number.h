// JSON numbers as integers. Only the exact value counts, not the notation: 5, 5.0, 50e-1 and 0.5e1
// are the same integer.
//
// `text` is a number of RFC 8259; `has_fraction` tells whether it has a fraction or an exponent.
// Nothing here allocates.
#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>

#include "corelib/text/buffer_ref.h"
#include "corelib/text/num.h"

namespace tstl::detail {

// Whether the number is an integer, of any size.
[[nodiscard]] bool json_is_integer(BufferRef<unsigned char> text, bool has_fraction) noexcept;

// The integer as magnitude and sign; false when the number is no integer or exceeds 64 bits.
[[nodiscard]] bool json_magnitude(BufferRef<unsigned char> text, bool has_fraction,
                                  std::uint64_t& value, bool& negative) noexcept;

// Stores the integer in `value` if it fits T; otherwise false, and `value` is unchanged.
template <Integer T>
[[nodiscard]] bool fit_integer(std::uint64_t magnitude, bool negative, T& value) noexcept {
  constexpr std::uint64_t kMax = std::numeric_limits<T>::max();
  if (magnitude > kMax + (negative && std::is_signed_v<T>)) return false;
  if (negative && std::is_unsigned_v<T> && magnitude != 0) return false;
  value = static_cast<T>(negative ? 0 - magnitude : magnitude);
  return true;
}

}  // namespace tstl::detail
