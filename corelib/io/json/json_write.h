// JsonWrite: writes JSON text (RFC 8259), valid UTF-8 whatever it is given, without blanks.
//
//   JsonWrite out;
//   out.begin_object();
//   out.key("cuid"), out.str(cuid);
//   out.key("rect"), out.begin_array(), out.num(-1), out.num(0), out.end_array();
//   out.end_object();
//   if (!out.good()) ...
//   send(out.output());
//
// The writer keeps the comma state; it does not check the order of calls further: a key before each
// member, an end for each begin. It owns the output, which keeps its memory from text to text. When
// memory cannot be had the output is empty, all further operations do nothing, and good() says so.
// One thread uses a writer at a time.
//
// Escaped is what has to be: the quote, the backslash, control characters (\b \t \n \f \r, the
// others as \u00XX). A byte that is not part of valid UTF-8 is written as the escape of the lone
// surrogate U+DC00 + byte, a surrogate of 16-bit text without its partner as its own escape;
// JsonNode reads both back.
#pragma once

#include <cassert>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/io/json/detail/json_scan.h"
#include "corelib/io/output.h"
#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/num.h"

namespace tstl {

class JsonWrite {
 public:
  // Starts a new text. A new writer needs none of this.
  void clear() noexcept;

  // The text so far, zero-terminated where there is any storage. The caller may change the buffer
  // or move from it; what is written next is appended to what it finds.
  [[nodiscard]] Buffer<unsigned char>& output() noexcept;
  // Whether all that was written since clear() is in the output.
  [[nodiscard]] bool good() const noexcept { return !out_.failed(); }

  // ---- Structure

  void begin_object() noexcept { open('{'); }
  void end_object() noexcept { close('}'); }
  void begin_array() noexcept { open('['); }
  void end_array() noexcept { close(']'); }

  // The key of the next value, any text.
  void key(BufferRef<unsigned char> name) noexcept;
  // A key that is known to need no escape: printable ASCII without quote and backslash. REQUIRES:
  // it is that.
  void plain_key(BufferRef<unsigned char> name) noexcept;

  // ---- Values: members after a key, elements of an array, or the whole text

  void str(BufferRef<unsigned char> bytes) noexcept;
  void str(BufferRef<unsigned short> text) noexcept;
  template <Integer V>
  void num(V value) noexcept;
  // The shortest number that reads back as `value`; null for what is no number, since JSON has no
  // text for it.
  void real(double value) noexcept;
  void boolean(bool value) noexcept { word(value ? "true" : "false"); }
  void null() noexcept { word("null"); }
  // Text that is a JSON value already, such as JsonNode::raw() of a number. REQUIRES: it is that.
  void raw(BufferRef<unsigned char> json) noexcept;

 private:
  // The comma before a value or a key, if one is due, and the start of `n` bytes that the caller
  // will write after it; null when memory is short.
  unsigned char* start(std::uint64_t n) noexcept;
  void done(unsigned char* at) noexcept;
  void open(char bracket) noexcept;
  void close(char bracket) noexcept;
  void word(BufferRef<unsigned char> json) noexcept;
  // Writes the string; returns the place after it, with room for one byte more, or null.
  template <Unit T>
  unsigned char* quoted(BufferRef<T> text) noexcept;

  detail::Output out_;
  unsigned char* at_ = nullptr;  // where the text goes on; null while there is no memory
  bool comma_ = false;           // the next value or key is not the first of its container
};

// ---------------------------------------------------------------------------------------------------------------------

inline unsigned char* JsonWrite::start(std::uint64_t n) noexcept {
  at_ = out_.room(at_, n + 1);
  if (at_ == nullptr) return nullptr;
  *at_ = ',';
  return at_ + comma_;
}

inline void JsonWrite::done(unsigned char* at) noexcept {
  at_ = at;
  comma_ = true;
}

inline void JsonWrite::open(char bracket) noexcept {
  unsigned char* const at = start(1);
  if (at == nullptr) return;
  *at = static_cast<unsigned char>(bracket);
  at_ = at + 1;
  comma_ = false;
}

inline void JsonWrite::close(char bracket) noexcept {
  comma_ = false;
  unsigned char* const at = start(1);
  if (at == nullptr) return;
  *at = static_cast<unsigned char>(bracket);
  done(at + 1);
}

inline void JsonWrite::plain_key(BufferRef<unsigned char> name) noexcept {
  assert(detail::plain_json_run<detail::Plain::kAscii>(name.cstr(), name.len()) == name.len());
  unsigned char* at = start(name.len() + std::uint64_t{3});
  if (at == nullptr) return;
  *at++ = '"';
  base::copy_bytes(at, name.cstr(), name.len());
  at += name.len();
  *at++ = '"';
  *at++ = ':';
  at_ = at;
  comma_ = false;
}

template <Integer V>
void JsonWrite::num(V value) noexcept {
  unsigned char* const at = start(NUM::kDecimalRoom);
  if (at != nullptr) done(at + NUM::zz_tostr(at, value));
}

inline void JsonWrite::raw(BufferRef<unsigned char> json) noexcept {
  unsigned char* const at = start(json.len());
  if (at == nullptr) return;
  base::copy_bytes(at, json.cstr(), json.len());
  done(at + json.len());
}

inline void JsonWrite::word(BufferRef<unsigned char> json) noexcept { raw(json); }

}  // namespace tstl
