#include "corelib/io/text_read.h"

#include <cerrno>
#include <cstdint>

#include "corelib/text/utf.h"

namespace tstl {
namespace {

// Make `text` the other width's form of `from`. False when memory is short.
bool decode(BufferRef<unsigned short> from, Buffer<unsigned char>& text) {
  const std::uint64_t room = std::uint64_t{from.len()} * 3;
  if (!text.recapacity(room)) return false;
  const std::size_t n =
      utf16_to_utf8(from.cstr(), from.len(), text.str(), room, LoneSurrogate::kKeep);
  text.set_len(static_cast<unsigned>(n));
  return true;
}
bool decode(BufferRef<unsigned char> from, Buffer<unsigned short>& text) {
  if (!text.recapacity(from.len())) return false;
  const std::size_t n = utf8_to_utf16(from.cstr(), from.len(), text.str(), from.len());
  text.set_len(static_cast<unsigned>(n));
  return true;
}

}  // namespace

template <Unit T>
bool TextRead<T>::read_decoded(View& line, bool empty_lines) noexcept {
  for (BufferRef<OtherUnit> units; lines_.next(units, empty_lines);) {
    if (!decode(units, decoded_)) return lines_.fail(ENOMEM);
    if (decoded_.is_empty() && !empty_lines) continue;
    line = decoded_;
    return true;
  }
  return false;
}

template <Unit T>
bool TextRead<T>::read_decoded_pair(T separator, View& key, long long& value) noexcept {
  View line;
  if (!read_decoded(line, false)) return false;
  const unsigned at = line.findback_chr(separator);
  key = line.sub_head(at);  // all of it when there is none
  value = at == NOT_FOUND ? 0 : detail::pair_value(line.sub_tail(at + 1));
  return true;
}

template class TextRead<unsigned char>;
template class TextRead<unsigned short>;

}  // namespace tstl
