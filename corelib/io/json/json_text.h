// JSON text as people see it: laid out in lines, and places in it by line and column.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

// Appends `json` to `out`, one member or element a line, each level indented by two blanks (up to 32
// levels, so that the result is bounded: at most 70 bytes for each byte of `json`). Empty objects and
// arrays stay on their line, blanks of the text's own outside of strings are dropped, values stay as
// they are. There is no line end after the last line. False, with `out` holding a part, when memory is
// short. Of a text that is no JSON it makes something, without touching a byte outside.
bool json_pretty(BufferRef<unsigned char> json, Buffer<unsigned char>& out);

// A place in a text as editors count it, both from 1. A column is a character: a byte that continues a
// character of UTF-8 begins none. LF, CR LF and CR end a line.
struct TextPlace {
  std::uint32_t line = 1;
  std::uint32_t column = 1;
};

// The place of the byte at `position`, which json_parse reports for a fault, say; past the end that of
// the end. Reads the text up to there.
[[nodiscard]] TextPlace text_place(BufferRef<unsigned char> text, std::uint32_t position) noexcept;

}  // namespace tstl
