// Foreign text that a person sees on a terminal: titles and file names out of packages, messages
// that quote them.
//
// A terminal obeys control characters, an eye is deceived by characters that turn the direction of
// writing or take no room. Both are shown as escapes:
//
//   \u{202E}   a character, by its code point
//   \x9B       a byte that is no part of well-formed UTF-8
//
// Everything else stays as it is, the backslash included: an escape is for people, nothing reads it
// back. The result is one line of well-formed UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace zenta::tools {

// Whether a character does something to the text around it instead of being seen: C0 and C1
// controls, line and paragraph separators, bidirectional controls, zero-width and other invisible
// formatting characters, tags.
[[nodiscard]] bool IsHidden(char32_t character);

// `text` with escapes for every hidden character and ill-formed byte. At most six bytes for each
// byte of `text`.
[[nodiscard]] std::string ForTerminal(std::string_view text);

}  // namespace zenta::tools
