// Decoding the inside of a JSON string: escapes and UTF-8 to bytes or 16-bit units. The text is
// that of a parsed string, so every escape is known to be whole.
//
// Nothing here allocates or fails. A decoded string never has more units than its raw text has
// bytes, in either form; the caller provides that much room.
#pragma once

#include <cstddef>

#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Decodes `raw` into `dst`; returns the units written, at most raw.len(). `escaped` says whether it
// may hold escapes.
std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned char* dst) noexcept;
std::size_t decode_json_string(BufferRef<unsigned char> raw, bool escaped,
                               unsigned short* dst) noexcept;

// Whether `raw` decodes to `text`, found without room for the decoded form.
[[nodiscard]] bool json_string_is(BufferRef<unsigned char> raw,
                                  BufferRef<unsigned char> text) noexcept;

}  // namespace tstl::detail
