#include "tools/zentactl/trace_text.h"

#include <algorithm>
#include <cstdio>

#include "corelib/text/utf.h"
#include "tools/common/terminal_text.h"

namespace zenta::zentactl {
namespace {

// The last two code points of each plane are noncharacters, and XML forbids U+FFFE and U+FFFF.
bool IsShown(char32_t c) { return !tools::IsHidden(c) && (c & 0xFFFE) != 0xFFFE; }

}  // namespace

std::string Shown(tstl::BufferRef<unsigned char> text, std::size_t limit) {
  std::string shown;
  tstl::BufferRefMutable<unsigned char> rest = text;
  for (std::size_t count = 0; rest; ++count) {
    if (count == limit) return shown + "…";
    const std::size_t length = tstl::utf8_sequence_length(rest.cstr(), rest.len());
    const bool good = length != 0 && IsShown(tstl::decode_utf8(rest.cstr(), length));
    const auto taken = rest.fetch_head(static_cast<unsigned>(std::max<std::size_t>(length, 1)));
    shown += good ? taken.std_view() : "\uFFFD";
  }
  return shown;
}

std::string Shown(tstl::BufferRef<unsigned short> text, std::size_t limit) {
  const auto start = text.sub_head(static_cast<unsigned>(2 * limit + 2));
  std::string bytes(3 * std::size_t{start.len()}, '\0');
  bytes.resize(tstl::utf16_to_utf8(start.cstr(), start.len(),
                                   reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(),
                                   tstl::LoneSurrogate::kKeep));
  return Shown(bytes, limit);
}

std::string KeyLabel(std::uint32_t id) {
  switch (id) {
    case 8:
      return "⌫";
    case 9:
      return "⇥";
    case 10:
    case 13:
      return "⏎";
    case 32:
      return "␣";
  }
  unsigned char bytes[4];
  const auto length = static_cast<unsigned>(tstl::encode_utf8(id, bytes));
  const std::string shown = Shown({bytes, length}, 1);
  return length == 0 || shown == "\uFFFD" ? "#" + std::to_string(id) : shown;
}

std::string Seconds(std::uint32_t milliseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", milliseconds / 1000.0);
  return text;
}

std::string Counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

}  // namespace zenta::zentactl
