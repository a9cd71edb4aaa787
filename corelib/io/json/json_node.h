// JsonNode: one value of a parsed JSON text (json_read.h).
//
// Nodes live in the arena that the text was read into and point into the text: both must outlive
// them. Nothing is converted before it is asked for. An accessor of another type's value gives the
// empty result of its kind: false, empty text, null.
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
  // Calls `visit(node)` for each member or element in order, until it says false.
  template <class Visit>
  void each(Visit visit);

  // ---- The key, of members of an object. An element of an array has none, which is not the same
  // as an empty one.

  [[nodiscard]] bool has_key() const noexcept { return flags_ & kHasKey; }
  // Whether the key is `name`, byte for byte, its escapes decoded.
  [[nodiscard]] bool key_is(BufferRef<unsigned char> name) const noexcept;
  // The key as bytes: a part of the text, unless it holds escapes; then each call decodes it into
  // the arena anew. Empty when memory is short.
  [[nodiscard]] BufferRef<unsigned char> key(ArenaRef arena) const;
  // The key as it stands in the text, escapes and all.
  [[nodiscard]] BufferRef<unsigned char> raw_key() const noexcept { return {text_, key_len_}; }
  // Its first byte; that of the value where there is no key.
  [[nodiscard]] const unsigned char* key_place() const noexcept { return text_; }

  // ---- Scalars

  [[nodiscard]] bool boolean() const noexcept { return flags_ & kTrue; }
  // Gives an integer that fits T: true, and `value` holds it. What counts is the value, exactly, and
  // not how it is written: 5, 5.0, 50e-1 and 0.5e1 are the same. Anything else is false and leaves
  // `value` alone: a number too great or too small, a negative one for an unsigned T, and one that
  // is no integer.
  template <Integer T>
  [[nodiscard]] bool integer(T& value) const noexcept;
  // Whether the value is a number and an integer, however great.
  [[nodiscard]] bool is_integer() const noexcept;
  // The number as the nearest double; past the greatest double it is that one. 0 for other values.
  [[nodiscard]] double real() const noexcept;
  // The two as JsonCursor has them, for who reads from either: false for values of another type,
  // which leave `value` alone.
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
  // Unescaped into the arena on first use and kept on the node, one copy for each of the two forms:
  // a second call gives the same memory. The result is zero-terminated, so a record may keep it as
  // it is. Empty when memory is short.
  //
  // As bytes, text is UTF-8. The escape of a lone surrogate from U+DC80 to U+DCFF is the byte 80 to
  // FF that is not part of valid UTF-8; any other lone surrogate gives its three-byte form. As
  // 16-bit units it is the other way round: lone surrogates are units like any other, and a byte B
  // that is not part of valid UTF-8 gives the unit DC00 + B.

  [[nodiscard]] BufferRef<unsigned char> str8(ArenaRef arena);
  [[nodiscard]] BufferRef<unsigned short> str16(ArenaRef arena);

  // The value as it stands in the text, escapes and all, a string's quotes left out. Empty for
  // objects and arrays.
  [[nodiscard]] BufferRef<unsigned char> raw() const noexcept;

 private:
  friend class detail::JsonParser;

  enum Flags : std::uint8_t {
    kHasKey = 1,
    kKeyEscaped = 2,
    kEscaped = 4,  // a string with escapes
    kKept = 8,     // a string that was unescaped: kept_ counts
    kTrue = 16,
    kFraction = 32,  // a number with a fraction or an exponent
  };
  struct Raw {
    std::uint32_t gap;  // bytes from text_ to the value
    std::uint32_t len;
  };

  JsonNode() = default;
  [[nodiscard]] bool is_container() const noexcept { return type_ <= JsonType::kArray; }
  // The decoded form of a string that was asked for last; null when none was.
  [[nodiscard]] detail::KeptString* kept() const noexcept {
    return flags_ & kKept ? kept_ : nullptr;
  }
  [[nodiscard]] Raw kept_raw_place() const noexcept;
  [[nodiscard]] bool escaped_key_is(BufferRef<unsigned char> name) const noexcept;
  template <class T>
  BufferRef<T> kept_string(ArenaRef arena);
  // The integer as magnitude and sign; false when it is none or passes 64 bits.
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
