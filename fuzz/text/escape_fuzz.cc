// Escapes and unescapes a text in both unit widths. What was escaped shows no control character and
// reads back as it was; and unescaping comes to the same text in UTF-8 and in UTF-16.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "corelib/text/buffer.h"

namespace {

using tstl::Buffer;
using tstl::BufferRef;
using Bytes = Buffer<unsigned char>;
using Wide = Buffer<unsigned short>;

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

template <class T>
void CheckEscaped(BufferRef<T> text) {
  Buffer<T> escaped, back;
  escaped.append_ctrl(text);
  Check(std::all_of(escaped.begin(), escaped.end(), [](T u) { return u >= 0x20 && u != 0x7F; }),
        "nothing invisible is left");
  Check(back.append_unescape(escaped) == text, "an escaped text reads back");
  Check(Buffer<T>().append_unescape(text).len() <= text.len(),
        "no escape is shorter than its text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Copies of the exact sizes, so that the sanitizer sees a step outside.
  const auto count = static_cast<unsigned>(size);
  const auto narrow = std::make_unique<unsigned char[]>(size);
  const auto wide = std::make_unique<unsigned short[]>(size / 2);
  std::copy_n(data, size, narrow.get());
  std::copy_n(data, size / 2 * 2, reinterpret_cast<unsigned char*>(wide.get()));
  const BufferRef<unsigned char> text(narrow.get(), count);
  CheckEscaped(text);
  CheckEscaped(BufferRef<unsigned short>(wide.get(), count / 2));

  // An \xHH is a byte here and a unit there; apart from it the two widths agree on ASCII.
  if (text.is_range(0, 0x7F) && text.find_str("\\x") == tstl::NOT_FOUND) {
    const Wide units = Wide().append_unescape(Wide(text));
    Check(Bytes(BufferRef<unsigned short>(units)) == Bytes().append_unescape(text),
          "both widths resolve to the same text");
  }
  return 0;
}
