// The two kinds of text unit and the library's one failure value.
#pragma once

#include <concepts>
#include <cstdint>

namespace tstl {

// What a function that reports failure through its 32-bit result returns.
inline constexpr std::uint32_t FAILURE = 0xFFFFFFFF;
// What a search returns when there is no such position. A view is at most this many units long, so
// that no position can be taken for it.
inline constexpr std::uint32_t NOT_FOUND = 0xFFFFFFFF;

// A code unit: `unsigned char` for 8-bit text (UTF-8 where it is text) and raw bytes, `unsigned
// short` for 16-bit code units (UTF-16 where it is text). All lengths and positions of the library
// count units.
template <class T>
concept Unit = std::same_as<T, unsigned char> || std::same_as<T, unsigned short>;

}  // namespace tstl
