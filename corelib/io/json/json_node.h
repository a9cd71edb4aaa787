// JsonNode: one value of a parsed JSON text (json_read.h).
//
// Nodes live in the arena that the text was parsed into and point into the text: both must outlive
// them. Nothing is converted before it is asked for. An accessor called on a value of another type
// returns an empty result: false, 0, empty text or null.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/arena_ref.h"
#include "corelib/io/json/detail/json_number.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/num.h"

namespace tstl {

namespace detail {
class JsonParser;
struct KeptString;
}  // namespace detail

enum class JsonType : std::uint8_t { kObject, kArray, kString, kNumber, kBool, kNull };

class JsonNode {
 public:
  [[nodiscard]] JsonType type() const noexcept { return type_; }
  [[nodiscard]] bool type_is(JsonType type) const noexcept { return type_ == type; }

  // ---- The tree

  // The first member or element of an object or array; null when it is empty, and for other values.
  [[nodiscard]] JsonNode* first_child() noexcept { return is_container() ? child_ : nullptr; }
  // The value after this one in the same object or array; null after the last.
  [[nodiscard]] JsonNode* next() noexcept { return next_; }
  // Calls `visit(node)` for each member or element in order, until it returns false.
  template <class Visit>
  void each(Visit visit);

  // ---- The key of a member. An element of an array has none, which differs from an empty key.

  [[nodiscard]] bool has_key() const noexcept { return flags_ & kHasKey; }
  // Whether the key, with its escapes decoded, is `name`, byte for byte.
  [[nodiscard]] bool key_is(BufferRef<unsigned char> name) const noexcept;
  // The decoded key, not zero-terminated: a view into the text, unless the key has escapes. In that
  // case each call decodes it into the arena again. Empty when the arena is out of memory.
  [[nodiscard]] BufferRef<unsigned char> key(ArenaRef arena) const;
  // The key as written in the text, its escapes not decoded.
  [[nodiscard]] BufferRef<unsigned char> raw_key() const noexcept { return {text_, key_len_}; }
  // Pointer to the first byte of the key; of the value when there is no key.
  [[nodiscard]] const unsigned char* key_place() const noexcept { return text_; }

  // ---- Scalars

  [[nodiscard]] bool boolean() const noexcept { return flags_ & kTrue; }
  // Stores the number in `value` and returns true if it is an integer that fits T. Only the exact
  // value counts, not the notation: 5, 5.0, 50e-1 and 0.5e1 are the same. Otherwise `value` is
  // unchanged and the result false: the number is out of the range of T or no integer, or the value
  // is no number.
  template <Integer T>
  [[nodiscard]] bool integer(T& value) const noexcept;
  // Whether the value is an integer of any size.
  [[nodiscard]] bool is_integer() const noexcept;
  // The nearest double. A number past the greatest double gives that one, with its sign. 0 for
  // other values.
  [[nodiscard]] double real() const noexcept;
  // The same as calls of JsonCursor, for code that reads from either. False, with `value`
  // unchanged, for a value of another type.
  [[nodiscard]] bool boolean(bool& value) const noexcept {
    if (type_ == JsonType::kBool) value = boolean();
    return type_ == JsonType::kBool;
  }
  [[nodiscard]] bool real(double& value) const noexcept {
    if (type_ == JsonType::kNumber) value = real();
    return type_ == JsonType::kNumber;
  }

  // ---- Strings
  //
  // A string is decoded into the arena on first use and kept on the node, one copy for each of the
  // two forms: a second call returns the same memory. The result is zero-terminated, so a record
  // may keep it as it is. It is empty, with a null pointer, when the arena is out of memory.
  //
  // str8() gives UTF-8. The escape of a lone surrogate from U+DC80 to U+DCFF becomes the byte 80 to
  // FF: that is how JsonWrite writes a byte that is not part of valid UTF-8. Any other lone
  // surrogate is encoded in three bytes. str16() gives UTF-16. There a lone surrogate is a unit
  // like any other, and a byte B that is not part of valid UTF-8 becomes the unit DC00 + B.

  [[nodiscard]] BufferRef<unsigned char> str8(ArenaRef arena);
  [[nodiscard]] BufferRef<unsigned short> str16(ArenaRef arena);

  // The value as written in the text: escapes not decoded, a string without its quotes. Empty for
  // objects and arrays.
  [[nodiscard]] BufferRef<unsigned char> raw() const noexcept;

 private:
  friend class detail::JsonParser;

  enum Flags : std::uint8_t {
    kHasKey = 1,
    kKeyEscaped = 2,
    kEscaped = 4,  // a string with escapes
    kKept = 8,     // a string that was decoded: the union holds kept_
    kTrue = 16,
    kFraction = 32,  // a number with a fraction or an exponent
  };
  struct Raw {
    std::uint32_t gap;  // bytes from text_ to the value
    std::uint32_t len;
  };

  JsonNode() = default;
  [[nodiscard]] bool is_container() const noexcept { return type_ <= JsonType::kArray; }
  // The form of the string that was decoded last; null when there is none.
  [[nodiscard]] detail::KeptString* kept() const noexcept {
    return flags_ & kKept ? kept_ : nullptr;
  }
  [[nodiscard]] Raw kept_raw_place() const noexcept;
  [[nodiscard]] bool escaped_key_is(BufferRef<unsigned char> name) const noexcept;
  template <class T>
  BufferRef<T> kept_string(ArenaRef arena);
  // The integer as magnitude and sign; false when the value is no integer or exceeds 64 bits.
  bool magnitude(std::uint64_t& value, bool& negative) const noexcept;

  const unsigned char* text_;  // the key's first byte; the value's where there is no key
  JsonNode* next_;             // while a container is being read: the container around it
  union {
    Raw raw_;                   // scalars
    detail::KeptString* kept_;  // strings with kKept
    JsonNode* child_;           // containers
  };
  std::uint32_t key_len_;
  JsonType type_;
  std::uint8_t flags_;
};
static_assert(sizeof(JsonNode) == 32 && std::is_trivially_copyable_v<JsonNode>);

// ---------------------------------------------------------------------------------------------------------------------

inline bool JsonNode::key_is(BufferRef<unsigned char> name) const noexcept {
  if (flags_ & kKeyEscaped) [[unlikely]]
    return escaped_key_is(name);
  return key_len_ == name.len() && (flags_ & kHasKey) &&
         (name.is_empty() || std::memcmp(text_, name.cstr(), name.len()) == 0);
}

inline BufferRef<unsigned char> JsonNode::raw() const noexcept {
  if (is_container()) return {};
  const Raw place = flags_ & kKept ? kept_raw_place() : raw_;
  return {text_ + place.gap, place.len};
}

template <Integer T>
bool JsonNode::integer(T& value) const noexcept {
  std::uint64_t size;
  bool negative;
  return magnitude(size, negative) && detail::fit_integer(size, negative, value);
}

template <class Visit>
void JsonNode::each(Visit visit) {
  for (JsonNode* child = first_child(); child != nullptr && visit(*child); child = child->next()) {
  }
}

}  // namespace tstl
