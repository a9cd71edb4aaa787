#include "corelib/io/json/json_node.h"

#include <new>

#include "corelib/io/json/detail/json_number.h"
#include "corelib/io/json/detail/json_string.h"

namespace tstl {

namespace detail {

// A decoded string in the arena, followed by its units and a zero unit. The node's pointer to it
// takes the place of raw_ in the union, so raw_'s values are kept here.
struct KeptString {
  std::uint32_t raw_gap, raw_len;
  KeptString* other;  // the form of the other unit width, if that was asked for first
  std::uint32_t unit_size;
  std::uint32_t count;

  template <class T>
  T* units() noexcept {
    return reinterpret_cast<T*>(this + 1);
  }
};
static_assert(sizeof(KeptString) == 24);

}  // namespace detail

JsonNode::Raw JsonNode::kept_raw_place() const noexcept { return {kept_->raw_gap, kept_->raw_len}; }

bool JsonNode::escaped_key_is(BufferRef<unsigned char> name) const noexcept {
  return detail::json_string_is(raw_key(), name);
}

BufferRef<unsigned char> JsonNode::key(ArenaRef arena) const {
  if (!(flags_ & kKeyEscaped)) return raw_key();
  auto* const copy = static_cast<unsigned char*>(arena.alloc(key_len_, 4));
  if (copy == nullptr) return {};
  return {copy, static_cast<std::uint32_t>(detail::decode_json_string(raw_key(), true, copy))};
}

bool JsonNode::is_integer() const noexcept {
  return type_ == JsonType::kNumber && detail::json_is_integer(raw(), flags_ & kFraction);
}

bool JsonNode::magnitude(std::uint64_t& value, bool& negative) const noexcept {
  return type_ == JsonType::kNumber &&
         detail::json_magnitude(raw(), flags_ & kFraction, value, negative);
}

double JsonNode::real() const noexcept {
  return type_ == JsonType::kNumber ? STR::zz_toreal(text_ + raw_.gap, raw_.len) : 0;
}

template <class T>
BufferRef<T> JsonNode::kept_string(ArenaRef arena) {
  if (type_ != JsonType::kString) return {};
  detail::KeptString* const first = kept();
  for (detail::KeptString* form = first; form != nullptr; form = form->other) {
    if (form->unit_size == sizeof(T)) return {form->units<T>(), form->count};
  }
  const Raw place = first == nullptr ? raw_ : kept_raw_place();
  const std::uint64_t room = (std::uint64_t{place.len} + 1) * sizeof(T);
  void* const memory = arena.alloc(sizeof(detail::KeptString) + room, alignof(detail::KeptString));
  if (memory == nullptr) return {};
  auto* const form = new (memory) detail::KeptString{place.gap, place.len, first, sizeof(T), 0};
  T* const units = form->units<T>();
  form->count = static_cast<std::uint32_t>(
      detail::decode_json_string({text_ + place.gap, place.len}, flags_ & kEscaped, units));
  units[form->count] = 0;
  kept_ = form;
  flags_ |= kKept;
  return {units, form->count};
}

BufferRef<unsigned char> JsonNode::str8(ArenaRef arena) {
  return kept_string<unsigned char>(arena);
}
BufferRef<unsigned short> JsonNode::str16(ArenaRef arena) {
  return kept_string<unsigned short>(arena);
}

}  // namespace tstl
