// The two kinds of text unit, the library's one failure value, and the machines that it is made for.
#pragma once

#if __cplusplus < 202002L
#error "zenta needs C++20: compile with -std=c++20 -fno-strict-aliasing"
#endif

#include <bit>
#include <climits>
#include <concepts>
#include <cstdint>

// After a parameter: the object made or returned must not outlive it. Clang warns where it would.
#if defined(__clang__)
#define ZENTA_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define ZENTA_LIFETIMEBOUND
#endif

namespace tstl {

// 64-bit little-endian machines only: packed structures hold 8-byte pointers, and what lies in files
// and messages is read as it lies. Plain char may be signed or unsigned.
static_assert(sizeof(void*) == 8 && CHAR_BIT == 8 && std::endian::native == std::endian::little);

// What a function that reports failure through its 32-bit result returns.
inline constexpr std::uint32_t FAILURE = 0xFFFFFFFF;
// What a search returns when there is no such position. A view is at most this many units long, so
// that no position can be taken for it.
inline constexpr std::uint32_t NOT_FOUND = 0xFFFFFFFF;

// A code unit: `unsigned char` for 8-bit text (UTF-8 where it is text) and raw bytes, `unsigned
// short` for 16-bit code units (UTF-16 where it is text). All lengths and positions of the library
// count units.
//
// A function template that is declared in a header and compiled in a source file takes `class T`, not
// `Unit T`. clang 18 and newer put the constraint into the name that the linker sees, g++ 14 does
// not, and a program of one is linked with a library of the other.
template <class T>
concept Unit = std::same_as<T, unsigned char> || std::same_as<T, unsigned short>;

}  // namespace tstl
