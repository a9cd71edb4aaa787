// std::to_chars for `double`, for C++ libraries that lack it: Apple's has it from macOS 13.3 on.
//
// The output is the same, character by character, in every locale. It takes about a microsecond,
// thirty times as long as std::to_chars. If the C library cannot allocate memory for its
// conversion, the text is 0.
#pragma once

#include <charconv>

// Defined where the C library reads and writes numbers. A test defines it although the C++ library
// has both functions.
#if !defined(__cpp_lib_to_chars) && !defined(ZENTA_REAL_CHARS_BY_C)
#define ZENTA_REAL_CHARS_BY_C
#endif

namespace tstl::detail {

// The shortest text that reads back as `value`; of several, the one nearest to it.
// REQUIRES: `form` is fixed or scientific, and fixed only below 1e21.
std::to_chars_result real_to_chars(char* first, char* last, double value, std::chars_format form);

// With `precision` digits after the point, correctly rounded. REQUIRES: `form` is fixed, the
// value's size is below 1e21 and `precision` at most 40.
std::to_chars_result real_to_chars(char* first, char* last, double value, std::chars_format form,
                                   int precision);

}  // namespace tstl::detail
