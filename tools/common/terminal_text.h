// Makes untrusted text safe to print on a terminal: titles and file names from packages, and
// messages that quote them.
//
// A terminal obeys control characters, and readers are deceived by characters that change the
// writing direction or have no width. Both kinds are printed as escapes:
//
//   \u{202E}   a character, by its code point
//   \x9B       a byte that is no part of well-formed UTF-8
//
// Everything else is unchanged, the backslash too: the escapes are for people and are never
// decoded. The result is one line of well-formed UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace zenta::tools {

// Whether a character is escaped: C0 and C1 controls, line and paragraph separators, bidirectional
// controls, tags, and the common zero-width and invisible characters (kHidden in the .cc lists
// them).
[[nodiscard]] bool IsHidden(char32_t character);

// `text` with escapes for every hidden character and ill-formed byte. The result has at most six
// bytes for each byte of `text`.
[[nodiscard]] std::string ForTerminal(std::string_view text);

}  // namespace zenta::tools
