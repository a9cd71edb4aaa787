// The two types of code unit, the library's failure values, and the machines that it supports.
#pragma once

#if __cplusplus < 202002L
#error "zenta needs C++20: compile with -std=c++20 -fno-strict-aliasing"
#endif

#include <bit>
#include <climits>
#include <concepts>
#include <cstdint>

// Stands after a parameter: the object constructed or returned must not outlive the argument. Clang
// warns where it does.
#if defined(__clang__)
#define ZENTA_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define ZENTA_LIFETIMEBOUND
#endif

namespace tstl {

// 64-bit little-endian machines only: packed structures hold 8-byte pointers, and the little-endian
// integers of files and messages are read without conversion. Plain char may be signed or unsigned.
static_assert(sizeof(void*) == 8 && CHAR_BIT == 8 && std::endian::native == std::endian::little);

// Returned on failure by a function that reports failure through its 32-bit result.
inline constexpr std::uint32_t FAILURE = 0xFFFFFFFF;
// Returned by a search that finds nothing. A view is at most this many units long, so no position
// equals it.
inline constexpr std::uint32_t NOT_FOUND = 0xFFFFFFFF;

// A code unit: `unsigned char` for 8-bit text (UTF-8 where it is text) and raw bytes, `unsigned
// short` for 16-bit code units (UTF-16 where it is text). All lengths and positions of the library
// count units.
//
// A function template that is declared in a header and compiled in a source file takes `class T`,
// not `Unit T`: clang 18 and newer mangle the constraint into the symbol, g++ 14 does not. So a
// program that is built with one can link a library that is built with the other.
template <class T>
concept Unit = std::same_as<T, unsigned char> || std::same_as<T, unsigned short>;

}  // namespace tstl
