// Decodes the inside of a JSON string: escapes and UTF-8 to bytes or 16-bit units. The raw text is
// that of a parsed string, so every escape is complete.
//
// Nothing here allocates or fails. In either form a decoded string has at most as many units as its
// raw text has bytes; the caller provides space for that many.
#pragma once

#include <cstddef>

#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Decodes `raw` into `dst`; returns the number of units written, at most raw.len(). `escaped`:
// whether `raw` may hold escapes.
std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned char* dst) noexcept;
std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned short* dst) noexcept;

// Whether `raw` decodes to `text`. Compares without storing the decoded form.
[[nodiscard]] bool json_string_is(BufferRef<unsigned char> raw,
                                  BufferRef<unsigned char> text) noexcept;

}  // namespace tstl::detail
