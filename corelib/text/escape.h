// Backslash escapes: what Buffer::append_ctrl writes and Buffer::append_unescape reads.
//
// Escaping makes ASCII control characters and the backslash visible: \\ \0 \a \b \t \n \v \f \r,
// the others as \xHH. Unescaping resolves these and \" \' \/ \e, any \xHH (a unit below 256), and
// \uHHHH (a UTF-16 unit): in 16-bit text that very unit; in 8-bit text the UTF-8 of the character,
// of which a high surrogate takes a low one that follows as \uHHHH along, and a surrogate alone
// gives nothing. H is a hexadecimal digit of either case, and all of them have to be there. A
// backslash before anything else, or at the end, is text.
//
// Nothing here allocates or fails. Source and destination do not overlap.
#pragma once

#include <cstdint>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"

namespace tstl::detail {

// Units that `text` takes when escaped: up to four times its length.
template <class T>
[[nodiscard]] std::uint64_t escaped_size(BufferRef<T> text) noexcept;
// Writes the escaped text to `dst`, escaped_size(text) units.
template <class T>
void escape(BufferRef<T> text, T* dst) noexcept;

// Writes the text with its escapes resolved to `dst`, which has room for text.len() units; returns
// the units written.
template <class T>
unsigned unescape(BufferRef<T> text, T* dst) noexcept;

extern template std::uint64_t escaped_size(BufferRef<unsigned char>) noexcept;
extern template std::uint64_t escaped_size(BufferRef<unsigned short>) noexcept;
extern template void escape(BufferRef<unsigned char>, unsigned char*) noexcept;
extern template void escape(BufferRef<unsigned short>, unsigned short*) noexcept;
extern template unsigned unescape(BufferRef<unsigned char>, unsigned char*) noexcept;
extern template unsigned unescape(BufferRef<unsigned short>, unsigned short*) noexcept;

}  // namespace tstl::detail
