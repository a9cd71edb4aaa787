#include "tools/common/terminal_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>

#include "corelib/text/utf.h"

namespace zenta::tools {
namespace {

struct Range {
  char32_t first, last;
};

// The controls (Unicode's category Cc), the common invisible format characters (Cf) and the two
// separators (Zl, Zp).
constexpr Range kHidden[] = {
    {0x0000, 0x001F},    // C0
    {0x007F, 0x009F},    // delete, C1
    {0x00AD, 0x00AD},    // soft hyphen
    {0x061C, 0x061C},    // Arabic letter mark
    {0x180E, 0x180E},    // Mongolian vowel separator
    {0x200B, 0x200F},    // zero-width characters, direction marks
    {0x2028, 0x202E},    // separators, embeddings, overrides
    {0x2060, 0x206F},    // word joiner, invisible operators, isolates, shaping controls
    {0xFEFF, 0xFEFF},    // zero-width no-break space
    {0xFFF9, 0xFFFB},    // interlinear annotation
    {0xE0000, 0xE007F},  // tags
};

std::string Escape(const char* format, char32_t number) {
  char text[16];
  std::snprintf(text, sizeof text, format, static_cast<unsigned>(number));
  return text;
}

}  // namespace

bool IsHidden(char32_t character) {
  return std::any_of(std::begin(kHidden), std::end(kHidden), [&](const Range& range) {
    return character >= range.first && character <= range.last;
  });
}

std::string ForTerminal(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t length = tstl::utf8_sequence_length(bytes, text.size());
    if (length == 0) {
      shown += Escape("\\x%02X", *bytes);
      text.remove_prefix(1);
      continue;
    }
    const char32_t character = tstl::decode_utf8(bytes, length);
    if (IsHidden(character)) {
      shown += Escape("\\u{%X}", character);
    } else {
      shown += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
  return shown;
}

}  // namespace zenta::tools
