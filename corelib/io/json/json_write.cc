#include "corelib/io/json/json_write.h"

#include <cmath>
#include <utility>

#include "corelib/io/json/detail/json_escape.h"
#include "corelib/io/json/detail/json_scan.h"
#include "corelib/text/utf.h"

namespace tstl {
namespace {

// Each of these writes the inside of a string at `at` and returns the position after it, or null
// when an allocation failed. Space for two more bytes is left: the quote and the colon.
constexpr unsigned kAfterText = 2;

// Valid UTF-8.
unsigned char* put_utf8(detail::Output& out, unsigned char* at, const unsigned char* src,
                        std::uint64_t n) {
  for (;;) {
    const std::uint64_t run = detail::plain_json_run<detail::Plain::kText>(src, n);
    at = out.room(at, run + detail::kMaxJsonEscape + kAfterText);
    if (at == nullptr) return nullptr;
    base::copy_bytes(at, src, run);
    at += run;
    if (run == n) return at;
    at = detail::put_json_escape(at, src[run]);
    src += run + 1;
    n -= run + 1;
  }
}

unsigned char* put_text(detail::Output& out, unsigned char* at, BufferRef<unsigned char> text) {
  const unsigned char* src = text.cstr();
  std::uint64_t n = text.len();
  for (;;) {
    const std::uint64_t ascii = detail::plain_json_run<detail::Plain::kAscii>(src, n);
    const std::uint64_t good = ascii == n ? n : ascii + valid_utf8_prefix(src + ascii, n - ascii);
    at = put_utf8(out, at, src, good);
    if (at == nullptr || good == n) return at;
    at = out.room(at, detail::kMaxJsonEscape + kAfterText);
    if (at == nullptr) return nullptr;
    at = detail::put_json_escape(at, 0xDC00u + src[good]);
    src += good + 1;
    n -= good + 1;
  }
}

unsigned char* put_text(detail::Output& out, unsigned char* at, BufferRef<unsigned short> text) {
  const unsigned short* src = text.cstr();
  std::uint64_t n = text.len();
  for (;;) {
    const std::uint64_t run = detail::plain_json_run<detail::Plain::kText>(src, n);
    at = out.room(at, 3 * run + detail::kMaxJsonEscape + kAfterText);
    if (at == nullptr) return nullptr;
    if (run != 0) at += utf16_to_utf8(src, run, at, 3 * run);
    if (run == n) return at;
    src += run;
    n -= run;
    if (n > 1 && is_high_surrogate(src[0]) && is_low_surrogate(src[1])) {
      at += encode_utf8(join_surrogates(src[0], src[1]), at);
      src += 2;
      n -= 2;
    } else {
      at = detail::put_json_escape(at, *src++);
      --n;
    }
  }
}

}  // namespace

void JsonWrite::clear() noexcept {
  out_.clear(std::exchange(at_, nullptr));
  comma_ = keyed_ = false;
  deep_ = 0;
  levels_ = 1;
}

Buffer<unsigned char>& JsonWrite::output() noexcept {
  return out_.give_back(std::exchange(at_, nullptr));
}

template <Unit T>
unsigned char* JsonWrite::quoted(unsigned char* at, BufferRef<T> text) noexcept {
  if (at == nullptr) return nullptr;
  *at = '"';
  at = put_text(out_, at + 1, text);
  if (at == nullptr) {
    at_ = nullptr;
    return nullptr;
  }
  *at = '"';
  return at + 1;
}

void JsonWrite::key(BufferRef<unsigned char> name) noexcept {
  unsigned char* const at = quoted(start_key(1 + kAfterText), name);
  if (at == nullptr) return;
  *at = ':';
  done_key(at + 1);
}

void JsonWrite::str(BufferRef<unsigned char> bytes) noexcept {
  if (unsigned char* const at = quoted(start_value(1 + kAfterText), bytes)) done(at);
}

void JsonWrite::str(BufferRef<unsigned short> text) noexcept {
  if (unsigned char* const at = quoted(start_value(1 + kAfterText), text)) done(at);
}

void JsonWrite::real(double value) noexcept {
  if (!std::isfinite(value)) return null();
  unsigned char* const at = start_value(NUM::kRealRoom);
  if (at != nullptr) done(at + NUM::zz_toreal(at, value));
}

}  // namespace tstl
