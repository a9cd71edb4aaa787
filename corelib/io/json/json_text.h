// JSON text for people: its layout in lines, and positions in it as line and column.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// Appends `json` to `out` with one member or element per line. Each level is indented by two
// spaces, up to 32 levels, so that the result is at most 70 bytes for each byte of `json`. Empty
// objects and arrays stay on one line. Whitespace outside of strings is dropped, and values are
// copied as they are. No line end follows the last line. False, with `out` holding a part, when an
// allocation fails. Text that is no valid JSON is laid out in some way, and no byte outside of it
// is read.
bool json_pretty(BufferRef<unsigned char> json, Buffer<unsigned char>& out);

// A position in a text as editors count it: both numbers start at 1. Columns count characters, so a
// continuation byte of UTF-8 does not count. LF, CR LF and CR end a line.
struct TextPlace {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// The line and column of the byte at `position`, such as JsonParse::position. A `position` past the
// end means the end. Reads the text up to there.
[[nodiscard]] TextPlace text_place(BufferRef<unsigned char> text, std::uint32_t position) noexcept;

}  // namespace tstl
