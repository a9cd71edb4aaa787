// Escapes and unescapes a text. The escaped text must have no control characters and must unescape
// to the original. Unescaping must give the same text in UTF-8 and in UTF-16.
// Input: 1 for 16-bit units, then the text.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "corelib/text/buffer.h"
#include "fuzz/require.h"

namespace {

using tstl::Buffer;
using tstl::BufferRef;
using Bytes = Buffer<unsigned char>;
using Wide = Buffer<unsigned short>;
using zenta::fuzz::Require;

template <class T>
void CheckEscaped(BufferRef<T> text) {
  Buffer<T> escaped, back;
  escaped.append_ctrl(text);
  Require(std::all_of(escaped.begin(), escaped.end(), [](T u) { return u >= 0x20 && u != 0x7F; }),
          "nothing invisible is left");
  Require(back.append_unescape(escaped) == text, "an escaped text reads back");
  Require(Buffer<T>().append_unescape(text).len() <= text.len(),
          "no escape is shorter than its text");
}

void CheckWide(const std::uint8_t* data, std::size_t size) {
  // An exactly sized copy, so that the sanitizer sees an access outside.
  const std::size_t count = size / 2;
  const auto units = std::make_unique<unsigned short[]>(count);
  if (count != 0) std::memcpy(units.get(), data, 2 * count);
  CheckEscaped(BufferRef<unsigned short>(units.get(), static_cast<unsigned>(count)));
}

void CheckNarrow(BufferRef<unsigned char> text) {
  CheckEscaped(text);
  // \xHH is a byte in one width and a unit in the other; the rest of ASCII is the same in both.
  if (!text.is_range(0, 0x7F) || text.find_str("\\x") != tstl::NOT_FOUND) return;
  const Wide units = Wide().append_unescape(Wide(text));
  Require(Bytes(BufferRef<unsigned short>(units)) == Bytes().append_unescape(text),
          "both widths resolve to the same text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  if (data[0] & 1) {
    CheckWide(data + 1, size - 1);
  } else {
    CheckNarrow(BufferRef<unsigned char>(data + 1, static_cast<unsigned>(size - 1)));
  }
  return 0;
}
