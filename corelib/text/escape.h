// Backslash escapes: what Buffer::append_ctrl writes and Buffer::append_unescape reads.
//
// Escaping makes ASCII control characters and the backslash visible: \\ \0 \a \b \t \n \v \f \r,
// the others as \xHH. Unescaping resolves these and \" \' \/ \e, any \xHH (a unit below 256), and
// \uHHHH (a UTF-16 unit). In 16-bit text \uHHHH becomes that unit. In 8-bit text it becomes the
// UTF-8 of the character; two that form a surrogate pair become one character, and a lone surrogate
// becomes nothing. Each H is one hexadecimal digit of either case. A backslash before anything
// else, or at the end, is copied.
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

// Writes the text with its escapes resolved to `dst`, which holds text.len() units; returns the
// units written.
template <class T>
unsigned unescape(BufferRef<T> text, T* dst) noexcept;

extern template std::uint64_t escaped_size(BufferRef<unsigned char>) noexcept;
extern template std::uint64_t escaped_size(BufferRef<unsigned short>) noexcept;
extern template void escape(BufferRef<unsigned char>, unsigned char*) noexcept;
extern template void escape(BufferRef<unsigned short>, unsigned short*) noexcept;
extern template unsigned unescape(BufferRef<unsigned char>, unsigned char*) noexcept;
extern template unsigned unescape(BufferRef<unsigned short>, unsigned short*) noexcept;

}  // namespace tstl::detail
