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
//   if (!at.end()) ...   // text.fault() and text.position() tell why
//
// Accepted is what json_read.h accepts, and a fault has the same place. A value is read by the call
// for its type, which leaves the cursor where it is when the value is none of that type, does not fit
// or is not whole. skip() passes over any value, and it finds the fault of one that is not whole.
// After a fault the text ends at its place: nothing more is read, and all loops end.
//
// A cursor is two words, copied by value: a function that reads a part takes one and returns one. The
// text's state, depth and fault, is shared by all its cursors; only the one that has gone farthest may
// be used. Nothing here allocates, and no byte outside the text is read.
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

// A text that is being walked through; it must outlive its cursors and stay where it is.
class JsonText {
 public:
  explicit JsonText(BufferRef<unsigned char> text) noexcept
      : begin_(text.cbegin()), end_(text.cend()), stops_(begin_, end_) {}
  JsonText(const JsonText&) = delete;
  JsonText& operator=(const JsonText&) = delete;

  // At the text's value, past blanks.
  [[nodiscard]] JsonCursor start() noexcept;

  [[nodiscard]] JsonFault fault() const noexcept { return fault_; }
  // The length of the text; after a fault its place, which is that of json_parse.
  [[nodiscard]] std::uint32_t position() const noexcept {
    return static_cast<std::uint32_t>(end_ - begin_);
  }

 private:
  friend class JsonCursor;

  const unsigned char* begin_;
  const unsigned char* end_;  // moved by a fault to its place
  detail::StopFinder stops_;
  const unsigned char* key_ = nullptr;  // of the last key, or an element's place
  std::uint32_t depth_ = 0;             // containers that are open
  enum class KeyKind : std::uint8_t { kNone, kPlain, kEscaped } key_kind_ = KeyKind::kNone;
  JsonFault fault_ = JsonFault::kNone;
};

class JsonCursor {
 public:
  // Whether what comes next is a value of this type, if it is one: its first byte tells.
  [[nodiscard]] bool type_is(JsonType type) const noexcept {
    return at_ != text_->end_ && begins(*at_, type);
  }
  // No fault so far.
  [[nodiscard]] bool good() const noexcept { return text_->fault_ == JsonFault::kNone; }
  // Whether the two are at the same byte.
  [[nodiscard]] bool is_at(JsonCursor other) const noexcept { return at_ == other.at_; }
  // The place of the next byte.
  [[nodiscard]] const unsigned char* place() const noexcept { return at_; }

  // ---- Containers. They are entered at their bracket, and left behind the one that closes them. True
  // when a member or an element follows; false at the end and after a fault.

  bool enter_object() noexcept;
  bool next_member() noexcept;
  bool enter_array() noexcept;
  bool next_element() noexcept;
  // Calls `visit(cursor)` for each element of an array, until it says false; passes over the others,
  // and over each value that it leaves unread.
  template <class Visit>
  void each(Visit visit);

  // ---- The key of a member

  // Goes to the member's value if its key and the colon are spelled `quoted`, such as "\"key\":", and
  // the value has this type. REQUIRES: the cursor is at a key.
  bool take_key(std::string_view quoted, JsonType type) noexcept;
  // The same for any key. False after a fault.
  bool read_key() noexcept;
  // The key that was read last: whether it is `name`, its escapes decoded, and as it stands. An element
  // that was come to since has an empty one at its first byte.
  [[nodiscard]] bool key_is(BufferRef<unsigned char> name) const noexcept;
  [[nodiscard]] BufferRef<unsigned char> raw_key() const noexcept;
  // Its first byte, or that of the element.
  [[nodiscard]] const unsigned char* key_place() const noexcept { return text_->key_; }

  // ---- Values, which mean what those of a JsonNode mean. What is read is passed; what is not, for it
  // is of another type, does not fit or is not whole, is not.

  template <Integer T>
  [[nodiscard]] bool integer(T& value) noexcept;
  [[nodiscard]] bool boolean(bool& value) noexcept;
  [[nodiscard]] bool real(double& value) noexcept;
  // Whether the value is a number and an integer, however great.
  [[nodiscard]] bool is_integer() const noexcept;

  // A string without escapes, which is its raw form. REQUIRES: a string comes next.
  [[nodiscard]] bool plain_string(BufferRef<unsigned char>& raw) noexcept;
  // A string with short escapes at the most, decoded to `to`: how many bytes it has, if `room` is some
  // more than it needs; else FAILURE. Bytes behind it are written to as well, none beyond `room`.
  // REQUIRES: a string comes next.
  [[nodiscard]] std::uint32_t quick_string(unsigned char* to, std::uint64_t room) noexcept;
  // Any string, as it stands between its quotes. False when it is not whole.
  struct RawString {
    BufferRef<unsigned char> raw;
    bool escaped = false;
  };
  [[nodiscard]] bool find_string(RawString& string) const noexcept;
  // Decodes what find_string() has found; `to` has room for so many units as it has bytes. Returns how
  // many there are.
  template <Unit T>
  std::uint32_t string(const RawString& found, T* to) noexcept {
    at_ = found.raw.cend() + 1;
    return static_cast<std::uint32_t>(detail::decode_json_string(found.raw, found.escaped, to));
  }

  // Passes over the value, whatever it is. False when there is none: an object or array that breaks off
  // or is broken inside is one.
  bool skip() noexcept;

  // Whether the text ends here, but for blanks. What follows is a fault.
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
  // The same after blanks.
  unsigned char token() noexcept;
  bool fail(JsonFault fault) noexcept;
  bool fail_at(const unsigned char* place, JsonFault fault) noexcept;

  bool enter(unsigned char closer) noexcept;
  bool next(unsigned char closer) noexcept;
  // Whether behind a bracket or a comma, at the cursor, there is no blank and no closing bracket.
  [[nodiscard]] bool goes_on(unsigned char closer) const noexcept {
    return closer == '}' ? at_[1] == '"' : at_[1] > ' ' && at_[1] != ']';
  }
  // The same where it takes more than a look at a byte or two.
  static JsonCursor enter_odd(JsonCursor at, unsigned char closer, bool& more) noexcept;
  static JsonCursor after_value(JsonCursor at, unsigned char closer, bool& more) noexcept;
  // To the key of a member, past blanks.
  bool find_key() noexcept;
  bool leave() noexcept {
    ++at_;
    --text_->depth_;
    return false;
  }
  static JsonCursor skip_value(JsonCursor at) noexcept;
  bool skip_scalar() noexcept;
  // From the opening quote to behind the closing one.
  bool skip_string(bool& escaped) noexcept;

  // A number of any form and length; null when it is not whole.
  struct RawNumber {
    BufferRef<unsigned char> text;
    bool has_fraction = false;
  };
  [[nodiscard]] RawNumber find_number() const noexcept;
  // Gives the integer, and the place after it; null when there is none of 64 bits.
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
  *this = enter_odd(*this, closer, more);
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
  *this = after_value(*this, closer, more);
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
  // Most have few digits; so many fit each type of 32 bits.
  constexpr unsigned kFew = 7;
  if (left() > kFew + 2) [[likely]] {
    const bool negative = *at_ == '-';
    const unsigned char* const digits = at_ + negative;
    const auto word = detail::DigitWord::load(digits, 8);
    const unsigned char* const behind = digits + word.count();
    const bool is_whole = *behind == ',' || *behind == '}' || *behind == ']' || *behind <= ' ';
    const bool is_plain = word.count() - 1 < kFew && (*digits != '0' || word.count() == 1);
    if (is_whole && is_plain) [[likely]] {
      if (!detail::fit_integer(word.value(), negative, value)) return false;
      at_ = behind;
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
