#include "corelib/io/json/json_text.h"

#include <algorithm>

namespace tstl {
namespace {

constexpr std::uint32_t kMaxIndent = 32;  // levels

bool is_blank(unsigned char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

// Lays out one text. Each step moves at_ past the bytes that it has written.
class Layout {
 public:
  explicit Layout(BufferRef<unsigned char> json, Buffer<unsigned char>& out)
      : at_(json.cbegin()), end_(json.cend()), out_(out), before_(out.len()) {}

  bool run() {
    while (at_ != end_) step();
    return out_.len() - before_ == expected_;
  }

 private:
  void step() {
    const unsigned char c = *at_;
    if (is_blank(c)) {
      ++at_;
    } else if (c == '{' || c == '[') {
      open();
    } else if (c == '}' || c == ']') {
      depth_ -= depth_ != 0;
      new_line();
      put(at_, 1);
      ++at_;
    } else if (c == ',') {
      put(at_++, 1);
      new_line();
    } else if (c == ':') {
      put(": ", 2);
      ++at_;
    } else {
      value();
    }
  }

  void open() {
    put(at_, 1);
    const unsigned char closer = *at_ == '{' ? '}' : ']';
    const unsigned char* next = at_ + 1;
    while (next != end_ && is_blank(*next)) ++next;
    at_ = next;
    if (next != end_ && *next == closer) {
      put(at_++, 1);
    } else {
      ++depth_;
      new_line();
    }
  }

  // Copies a string to its closing quote, or another scalar to the byte that ends it.
  void value() {
    const unsigned char* const start = at_;
    if (*at_++ == '"') {
      while (at_ != end_ && *at_ != '"') at_ += *at_ == '\\' && end_ - at_ > 1 ? 2 : 1;
      at_ += at_ != end_;
    } else {
      while (at_ != end_ && !is_blank(*at_) && *at_ != ',' && *at_ != ']' && *at_ != '}' &&
             *at_ != ':' && *at_ != '"') {
        ++at_;
      }
    }
    put(start, static_cast<std::uint32_t>(at_ - start));
  }

  void new_line() {
    constexpr char kBlanks[] = "\n                                                                ";
    static_assert(sizeof(kBlanks) == 2 + 2 * kMaxIndent);
    put(kBlanks, 1 + 2 * std::min(depth_, kMaxIndent));
  }

  // The buffer drops what it cannot store; run() notices that by the length.
  template <class Byte>
  void put(const Byte* bytes, std::uint32_t n) {
    out_.append_str(BufferRef<unsigned char>(reinterpret_cast<const unsigned char*>(bytes), n));
    expected_ += n;
  }

  const unsigned char* at_;
  const unsigned char* end_;
  Buffer<unsigned char>& out_;
  std::uint64_t before_;
  std::uint64_t expected_ = 0;  // bytes passed to put()
  std::uint32_t depth_ = 0;
};

}  // namespace

bool json_pretty(BufferRef<unsigned char> json, Buffer<unsigned char>& out) {
  return Layout(json, out).run();
}

TextPlace text_place(BufferRef<unsigned char> text, std::uint32_t position) noexcept {
  TextPlace place;
  const unsigned char* const stop = text.cbegin() + std::min(position, text.len());
  for (const unsigned char* at = text.cbegin(); at != stop; ++at) {
    const bool is_end = *at == '\n' || (*at == '\r' && (at + 1 == text.cend() || at[1] != '\n'));
    if (is_end) {
      ++place.line;
      place.column = 1;
    } else {
      place.column += (*at & 0xC0) != 0x80;
    }
  }
  return place;
}

}  // namespace tstl
