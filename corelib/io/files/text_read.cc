#include "corelib/io/files/text_read.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "corelib/text/utf.h"

namespace tstl {
namespace {

std::size_t transcode(BufferRef<unsigned short> from, unsigned char* to, std::size_t capacity) {
  return utf16_to_utf8(from.cstr(), from.len(), to, capacity, LoneSurrogate::kKeep);
}
std::size_t transcode(BufferRef<unsigned char> from, unsigned short* to, std::size_t capacity) {
  return utf8_to_utf16(from.cstr(), from.len(), to, capacity);
}

}  // namespace

template <Unit T>
bool TextRead<T>::read_decoded(View& line, bool empty_lines) noexcept {
  constexpr unsigned kFront = base::Block<T>::kUnits;
  for (BufferRef<OtherUnit> units; lines_.next(units, empty_lines);) {
    const std::uint64_t capacity = std::uint64_t{units.len()} * (sizeof(T) == 1 ? 3 : 1);
    if (!decoded_.recapacity(kFront + capacity)) return lines_.fail(ENOMEM);
    std::fill_n(decoded_.str(), kFront, T{0});
    const auto n = static_cast<unsigned>(
        transcode(units, decoded_.str(kFront), static_cast<std::size_t>(capacity)));
    if (n == 0 && !empty_lines) continue;
    line = View(decoded_.str(kFront), n);
    return true;
  }
  return false;
}

template class TextRead<unsigned char>;
template class TextRead<unsigned short>;

}  // namespace tstl
