// JsonCursor: walks through a JSON text once, from its first byte to its last, without a tree.
//
//   JsonText text(bytes);
//   JsonCursor at = text.start();
//   if (at.type_is(JsonType::kObject)) {
//     for (bool more = at.enter_object(); more; more = at.next_member()) {
//       if (at.take_key("\"freq\":", JsonType::kNumber)) {
//         if (!at.integer(freq)) at.skip();
//       } else if (at.read_key()) {
//         at.skip();
//       }
//     }
//   }
//   if (!at.end()) ...   // see text.fault() and text.position()
//
// It accepts what json_parse accepts, and reports faults at the same positions. Each value is read
// by the call for its type. The call leaves the cursor where it is when the value has another type,
// does not fit or is malformed. skip() passes over any value and reports the fault of a malformed
// one. After a fault the text ends at the fault: nothing more is read, and all loops end.
//
// A cursor is two words, and is passed by value: a function that reads a part of the text takes a
// cursor and returns one. All cursors of a text share its nesting depth and its fault, so only the
// one that has advanced farthest may be used. Nothing here allocates, and no byte outside the text
// is read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "corelib/base/bytes.h"
#include "corelib/io/json/detail/json_number.h"
#include "corelib/io/json/detail/json_scan.h"
#include "corelib/io/json/detail/json_string.h"
#include "corelib/io/json/json_read.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/parse.h"

namespace tstl {

class JsonCursor;

// A text that cursors walk through. It does not own the bytes. It must outlive its cursors.
class JsonText {
 public:
  explicit JsonText(BufferRef<unsigned char> text) noexcept
      : begin_(text.cbegin()), end_(text.cend()), stops_(begin_, end_) {}
  JsonText(const JsonText&) = delete;
  JsonText& operator=(const JsonText&) = delete;

  // A cursor at the text's value, past leading whitespace.
  [[nodiscard]] JsonCursor start() noexcept;

  [[nodiscard]] JsonFault fault() const noexcept { return fault_; }
  // The length of the text; after a fault, the offset that json_parse reports for it.
  [[nodiscard]] std::uint32_t position() const noexcept {
    return static_cast<std::uint32_t>(end_ - begin_);
  }

 private:
  friend class JsonCursor;

  const unsigned char* begin_;
  const unsigned char* end_;  // after a fault, the position of the fault
  detail::StopFinder stops_;
  const unsigned char* key_ = nullptr;  // first byte of the last key or element
  std::uint32_t depth_ = 0;             // open containers
  enum class KeyKind : std::uint8_t { kNone, kPlain, kEscaped } key_kind_ = KeyKind::kNone;
  JsonFault fault_ = JsonFault::kNone;
};

class JsonCursor {
 public:
  // Whether the first byte of the next value is that of this type. The value itself may be
  // malformed.
  [[nodiscard]] bool type_is(JsonType type) const noexcept {
    return at_ != text_->end_ && begins(*at_, type);
  }
  // Whether there was no fault so far.
  [[nodiscard]] bool good() const noexcept { return text_->fault_ == JsonFault::kNone; }
  // Whether both cursors are at the same byte.
  [[nodiscard]] bool is_at(JsonCursor other) const noexcept { return at_ == other.at_; }
  // Pointer to the next byte.
  [[nodiscard]] const unsigned char* place() const noexcept { return at_; }

  // ---- Containers. A loop enters one at its opening bracket and calls next_*() after each value.
  // True when a member or an element comes next. False after a fault, and at the end, where the
  // cursor moves past the closing bracket. REQUIRES of enter_*(): the cursor is at such a bracket.

  bool enter_object() noexcept;
  bool next_member() noexcept;
  bool enter_array() noexcept;
  bool next_element() noexcept;
  // Calls `visit(cursor)` for each element of an array until it returns false. Skips the remaining
  // elements, and each element that `visit` leaves unread.
  template <class Visit>
  void each(Visit visit);

  // ---- The key of a member

  // Moves to the member's value if its key and colon are written exactly as `quoted`, such as
  // "\"key\":", and the value has this type. Otherwise false, and the cursor stays. REQUIRES: the
  // cursor is at a key.
  bool take_key(std::string_view quoted, JsonType type) noexcept;
  // Moves to the member's value, whatever its key. False after a fault. REQUIRES: as above.
  bool read_key() noexcept;
  // The key that was read last: whether it is `name` once its escapes are decoded, and the key as
  // written. Inside each(), the key of an element is empty and lies at its first byte.
  [[nodiscard]] bool key_is(BufferRef<unsigned char> name) const noexcept;
  [[nodiscard]] BufferRef<unsigned char> raw_key() const noexcept;
  // Pointer to the first byte of that key or element.
  [[nodiscard]] const unsigned char* key_place() const noexcept { return text_->key_; }

  // ---- Values, converted as by JsonNode. True: the value was read, and the cursor is after it.
  // False: the value has another type, does not fit or is malformed, and the cursor stays.

  template <Integer T>
  [[nodiscard]] bool integer(T& value) noexcept;
  [[nodiscard]] bool boolean(bool& value) noexcept;
  [[nodiscard]] bool real(double& value) noexcept;
  // Whether the value is an integer of any size.
  [[nodiscard]] bool is_integer() const noexcept;

  // A string without escapes, as a view into the text. REQUIRES: the cursor is at a string.
  [[nodiscard]] bool plain_string(BufferRef<unsigned char>& raw) noexcept;
  // Decodes a string without \u escapes to `to`, which has space for `room` bytes, and returns its
  // length in bytes. FAILURE, with the cursor where it was, when the string has a \u escape, is
  // malformed, ends with the text, or leaves too little of `room` unused. Bytes after the string
  // are overwritten too, but none beyond `room`. REQUIRES: the cursor is at a string.
  [[nodiscard]] std::uint32_t quick_string(unsigned char* to, std::uint64_t room) noexcept;
  // Finds any string, as written between its quotes, and leaves the cursor where it is. False when
  // the string is malformed.
  struct RawString {
    BufferRef<unsigned char> raw;
    bool escaped = false;
  };
  [[nodiscard]] bool find_string(RawString& string) const noexcept;
  // Decodes the string that find_string() found and moves past it. `to` has space for as many units
  // as the raw string has bytes. Returns the number of units.
  template <Unit T>
  std::uint32_t string(const RawString& found, T* to) noexcept {
    at_ = found.raw.cend() + 1;
    return static_cast<std::uint32_t>(detail::decode_json_string(found.raw, found.escaped, to));
  }

  // Passes over the value, whatever it is. False when it is malformed. An object or array counts as
  // a value even if there is a fault inside it.
  bool skip() noexcept;

  // Whether the text was good and only whitespace follows. Anything else that follows is a fault.
  [[nodiscard]] bool end() noexcept;

 private:
  friend class JsonText;
  using KeyKind = JsonText::KeyKind;
  JsonCursor(const unsigned char* at, JsonText* text) noexcept : at_(at), text_(text) {}

  static constexpr bool begins(unsigned char c, JsonType type) noexcept {
    switch (type) {
      case JsonType::kObject:
        return c == '{';
      case JsonType::kArray:
        return c == '[';
      case JsonType::kString:
        return c == '"';
      case JsonType::kNumber:
        return c - unsigned{'0'} < 10 || c == '-';
      case JsonType::kBool:
        return c == 't' || c == 'f';
      case JsonType::kNull:
        return c == 'n';
    }
    return false;
  }
  [[nodiscard]] std::size_t left() const noexcept {
    return static_cast<std::size_t>(text_->end_ - at_);
  }
  // The byte at the cursor; 0, which JSON allows nowhere, at the end.
  [[nodiscard]] unsigned char peek() const noexcept { return at_ != text_->end_ ? *at_ : 0; }
  // The same after skipping whitespace.
  unsigned char token() noexcept;
  bool fail(JsonFault fault) noexcept;
  bool fail_at(const unsigned char* place, JsonFault fault) noexcept;

  bool enter(unsigned char closer) noexcept;
  bool next(unsigned char closer) noexcept;
  // Whether a member or element follows the bracket or comma at the cursor without whitespace
  // between them. REQUIRES: left() >= 2.
  [[nodiscard]] bool goes_on(unsigned char closer) const noexcept {
    return closer == '}' ? at_[1] == '"' : at_[1] > ' ' && at_[1] != ']';
  }
  // The slow paths of enter() and next(): whitespace, empty containers and faults.
  static JsonCursor enter_slow(JsonCursor at, unsigned char closer, bool& more) noexcept;
  static JsonCursor next_slow(JsonCursor at, unsigned char closer, bool& more) noexcept;
  // Moves past whitespace to the key of a member. Without one, a fault.
  bool find_key() noexcept;
  bool leave() noexcept {
    ++at_;
    --text_->depth_;
    return false;
  }
  static JsonCursor skip_value(JsonCursor at) noexcept;
  bool skip_scalar() noexcept;
  // Moves from the opening quote to the byte after the closing one.
  bool skip_string(bool& escaped) noexcept;

  // The number at the cursor, of any form and length; its text is null when it is malformed.
  struct RawNumber {
    BufferRef<unsigned char> text;
    bool has_fraction = false;
  };
  [[nodiscard]] RawNumber find_number() const noexcept;
  // The integer at the cursor and the position after it, which is null when there is none of 64
  // bits.
  struct Magnitude {
    const unsigned char* after;
    std::uint64_t value;
    bool negative;
  };
  [[nodiscard]] static Magnitude any_magnitude(JsonCursor at) noexcept;

  const unsigned char* at_;
  JsonText* text_;
};

// ---------------------------------------------------------------------------------------------------------------------

[[gnu::always_inline]] inline bool JsonCursor::enter(unsigned char closer) noexcept {
  if (left() >= 2 && goes_on(closer) && text_->depth_ < kJsonMaxDepth) [[likely]] {
    ++at_;
    ++text_->depth_;
    return true;
  }
  bool more;
  *this = enter_slow(*this, closer, more);
  return more;
}
[[gnu::always_inline]] inline bool JsonCursor::enter_object() noexcept { return enter('}'); }
[[gnu::always_inline]] inline bool JsonCursor::enter_array() noexcept { return enter(']'); }

[[gnu::always_inline]] inline bool JsonCursor::next(unsigned char closer) noexcept {
  if (left() >= 2) [[likely]] {
    if (*at_ == ',' && goes_on(closer)) [[likely]] {
      ++at_;
      return true;
    }
    if (*at_ == closer) return leave();
  }
  bool more;
  *this = next_slow(*this, closer, more);
  return more;
}

[[gnu::always_inline]] inline bool JsonCursor::next_member() noexcept { return next('}'); }
[[gnu::always_inline]] inline bool JsonCursor::next_element() noexcept { return next(']'); }

template <class Visit>
[[gnu::always_inline]] inline void JsonCursor::each(Visit visit) {
  bool wanted = true;
  for (bool more = enter_array(); more; more = next_element()) {
    const unsigned char* const start = at_;
    text_->key_ = at_;
    text_->key_kind_ = KeyKind::kNone;
    if (wanted) wanted = visit(*this);
    if (at_ == start) skip();
  }
}

[[gnu::always_inline]] inline bool JsonCursor::take_key(std::string_view quoted,
                                                        JsonType type) noexcept {
  if (left() <= quoted.size() || !base::equal_short(at_, quoted.data(), quoted.size())) {
    return false;
  }
  JsonCursor value(at_ + quoted.size(), text_);
  if (!begins(*value.at_, type)) [[unlikely]] {
    if (*value.at_ > ' ' || !begins(value.token(), type)) return false;
  }
  text_->key_ = at_ + 1;
  text_->key_kind_ = KeyKind::kPlain;
  at_ = value.at_;
  return true;
}

template <Integer T>
[[gnu::always_inline]] inline bool JsonCursor::integer(T& value) noexcept {
  // Most integers have at most kFew digits: one load of 8 bytes holds them and the byte after them.
  constexpr unsigned kFew = 7;
  if (left() > kFew + 2) [[likely]] {
    const bool negative = *at_ == '-';
    const unsigned char* const digits = at_ + negative;
    const auto word = detail::DigitWord::load(digits, 8);
    const unsigned char* const after = digits + word.count();
    const bool is_whole = *after == ',' || *after == '}' || *after == ']' || *after <= ' ';
    const bool is_plain = word.count() - 1 < kFew && (*digits != '0' || word.count() == 1);
    if (is_whole && is_plain) [[likely]] {
      if (!detail::fit_integer(word.value(), negative, value)) return false;
      at_ = after;
      return true;
    }
  }
  const Magnitude found = any_magnitude(*this);
  if (found.after == nullptr || !detail::fit_integer(found.value, found.negative, value)) {
    return false;
  }
  at_ = found.after;
  return true;
}

[[gnu::always_inline]] inline bool JsonCursor::plain_string(
    BufferRef<unsigned char>& raw) noexcept {
  const unsigned char* const stop = text_->stops_.next(at_ + 1);
  if (stop == text_->end_ || *stop != '"') [[unlikely]]
    return false;
  raw = {at_ + 1, static_cast<std::uint32_t>(stop - (at_ + 1))};
  at_ = stop + 1;
  return true;
}

[[gnu::always_inline]] inline bool JsonCursor::skip() noexcept {
  const JsonCursor start = *this;
  *this = skip_value(start);
  return good() || (at_ != start.at_ && (*start.at_ == '{' || *start.at_ == '['));
}

inline JsonCursor JsonText::start() noexcept {
  JsonCursor at(begin_, this);
  at.token();
  return at;
}

}  // namespace tstl
