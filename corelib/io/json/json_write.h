// JsonWrite: writes JSON text (RFC 8259) without whitespace. The output is valid UTF-8, whatever
// the input.
//
//   JsonWrite out;
//   out.begin_object();
//   out.key("cuid"), out.str(cuid);
//   out.key("rect"), out.begin_array(), out.num(-1), out.num(0), out.end_array();
//   out.end_object();
//   if (!out.good()) ...
//   send(out.output());
//
// The writer inserts the commas. The caller is responsible for the order of calls: a key before
// each member and nowhere else, an end of the right kind for each begin, one value for each text.
// Debug builds assert it.
//
// The writer owns the output and keeps its memory from text to text. When an allocation fails, the
// output is emptied, and all operations until clear() do nothing; good() reports it. A writer is
// for one thread at a time.
//
// Only what RFC 8259 requires is escaped: the quote, the backslash and control characters (\b \t \n
// \f \r, the others as \u00XX). A byte that is not part of valid UTF-8 is written as the escape of
// the lone surrogate U+DC00 + byte. A lone surrogate in 16-bit text is written as its own escape.
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
  // Empties the output and starts a new text. A new writer does not need it.
  void clear() noexcept;

  // The text so far, zero-terminated unless the buffer has no storage. The caller may change the
  // buffer or move from it; later writes append to what it holds.
  [[nodiscard]] Buffer<unsigned char>& output() noexcept;
  // Whether everything written since clear() is in the output.
  [[nodiscard]] bool good() const noexcept { return !out_.failed(); }

  // ---- Structure

  void begin_object() noexcept { open('{'); }
  void end_object() noexcept { close('}'); }
  void begin_array() noexcept { open('['); }
  void end_array() noexcept { close(']'); }

  // The key of the next value, any text.
  void key(BufferRef<unsigned char> name) noexcept;
  // A key that needs no escapes. REQUIRES: `name` is printable ASCII without quote and backslash.
  void plain_key(BufferRef<unsigned char> name) noexcept;

  // ---- Values: members after a key, elements of an array, or the whole text

  void str(BufferRef<unsigned char> bytes) noexcept;
  void str(BufferRef<unsigned short> text) noexcept;
  template <Integer V>
  void num(V value) noexcept;
  // The shortest number that reads back as `value`. Infinities and NaNs are written as null, since
  // JSON cannot express them.
  void real(double value) noexcept;
  void boolean(bool value) noexcept { word(value ? "true" : "false"); }
  void null() noexcept { word("null"); }
  // Writes text that is already a JSON value, such as JsonNode::raw() of a number. REQUIRES: `json`
  // is one complete value.
  void raw(BufferRef<unsigned char> json) noexcept;

 private:
  // Makes space for `n` bytes, writes a comma before them if one is due, and returns where the
  // caller writes the bytes. Null when an allocation failed.
  unsigned char* start(std::uint64_t n) noexcept;
  // The same with the assertions for a value and for a key.
  unsigned char* start_value(std::uint64_t n) noexcept;
  unsigned char* start_key(std::uint64_t n) noexcept;
  void done(unsigned char* at) noexcept;
  void done_key(unsigned char* at) noexcept;
  void open(char bracket) noexcept;
  void close(char bracket) noexcept;
  void word(BufferRef<unsigned char> json) noexcept;
  // Writes the string in quotes at `at`, which may be null. Returns the position after it, with
  // space for one more byte; null when an allocation failed.
  template <Unit T>
  unsigned char* quoted(unsigned char* at, BufferRef<T> text) noexcept;

  // The kind of the innermost open container. Both are false when there is none, or when it is more
  // than 63 levels deep.
  [[nodiscard]] bool in_object() const noexcept {
    return deep_ == 0 && (levels_ & 1) && levels_ != 1;
  }
  [[nodiscard]] bool in_array() const noexcept { return deep_ == 0 && !(levels_ & 1); }

  detail::Output out_;
  unsigned char* at_ = nullptr;  // where the next byte goes; null while the writer has no memory
  bool comma_ = false;           // the next value or key is not the first of its container
  // State that only the assertions use. It exists in all builds, so that code compiled with and
  // without assertions can share a writer.
  bool keyed_ = false;        // a key waits for its value
  std::uint32_t deep_ = 0;    // open containers beyond the 63 outermost
  std::uint64_t levels_ = 1;  // a one, then a bit for each open container, the innermost lowest:
                              // 1 for an object, 0 for an array
};

// ---------------------------------------------------------------------------------------------------------------------

inline unsigned char* JsonWrite::start(std::uint64_t n) noexcept {
  at_ = out_.room(at_, n + 1);
  if (at_ == nullptr) return nullptr;
  *at_ = ',';
  return at_ + comma_;
}

inline unsigned char* JsonWrite::start_value(std::uint64_t n) noexcept {
  unsigned char* const at = start(n);
  assert((at == nullptr || !in_object() || keyed_) && "a member without its key");
  assert((at == nullptr || levels_ != 1 || !comma_) && "a second value; clear() begins a new text");
  return at;
}

inline unsigned char* JsonWrite::start_key(std::uint64_t n) noexcept {
  unsigned char* const at = start(n);
  assert((at == nullptr || deep_ != 0 || in_object()) && "a key outside of an object");
  assert((at == nullptr || !keyed_) && "a key after a key");
  return at;
}

inline void JsonWrite::done(unsigned char* at) noexcept {
  at_ = at;
  comma_ = true;
  keyed_ = false;
}

inline void JsonWrite::done_key(unsigned char* at) noexcept {
  at_ = at;
  comma_ = false;
  keyed_ = true;
}

inline void JsonWrite::open(char bracket) noexcept {
  unsigned char* const at = start_value(1);
  if (at == nullptr) return;
  *at = static_cast<unsigned char>(bracket);
  at_ = at + 1;
  comma_ = keyed_ = false;
  if (levels_ >> 63) [[unlikely]] {
    ++deep_;
  } else {
    levels_ = levels_ << 1 | (bracket == '{');
  }
}

inline void JsonWrite::close(char bracket) noexcept {
  comma_ = false;
  unsigned char* const at = start(1);
  if (at == nullptr) return;
  assert((deep_ != 0 || (bracket == '}' ? in_object() : in_array())) && "an end without its begin");
  assert(!keyed_ && "a key without its value");
  *at = static_cast<unsigned char>(bracket);
  done(at + 1);
  if (deep_ != 0) [[unlikely]] {
    --deep_;
  } else {
    levels_ >>= 1;
  }
}

inline void JsonWrite::plain_key(BufferRef<unsigned char> name) noexcept {
  assert(detail::plain_json_run<detail::Plain::kAscii>(name.cstr(), name.len()) == name.len());
  unsigned char* at = start_key(name.len() + std::uint64_t{3});
  if (at == nullptr) return;
  *at++ = '"';
  base::copy_bytes(at, name.cstr(), name.len());
  at += name.len();
  *at++ = '"';
  *at++ = ':';
  done_key(at);
}

template <Integer V>
void JsonWrite::num(V value) noexcept {
  unsigned char* const at = start_value(NUM::kDecimalRoom);
  if (at != nullptr) done(at + NUM::zz_tostr(at, value));
}

inline void JsonWrite::raw(BufferRef<unsigned char> json) noexcept {
  unsigned char* const at = start_value(json.len());
  if (at == nullptr) return;
  base::copy_bytes(at, json.cstr(), json.len());
  done(at + json.len());
}

inline void JsonWrite::word(BufferRef<unsigned char> json) noexcept { raw(json); }

}  // namespace tstl
