#include "corelib/io/json/json_node.h"

#include <algorithm>
#include <new>

#include "corelib/io/json/detail/json_string.h"

namespace tstl {

namespace detail {

// The decoded form of a string, in the arena; its units and a zero unit follow. It holds what it
// replaces in the node.
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

namespace {

// A number with a fraction or an exponent as `digits` x 10^`exponent`, for a text of RFC 8259. The
// digits may hold the decimal point; neither the first nor the last of them is a zero. There are
// none when the number is zero.
struct Decimal {
  explicit Decimal(BufferRef<unsigned char> text) noexcept
      : begin(text.cbegin()), end(text.cend()), negative(*begin == '-') {
    begin += negative;
    const unsigned char* const e =
        std::find_if(begin, end, [](unsigned char c) { return (c | 0x20) == 'e'; });
    if (e != end) exponent = exponent_of(e + 1, end);
    end = e;
    const unsigned char* const point = std::find(begin, end, '.');
    if (point != end) exponent -= end - point - 1;
    for (; end != begin && (end[-1] == '0' || end[-1] == '.'); --end) exponent += end[-1] == '0';
    while (begin != end && (*begin == '0' || *begin == '.')) ++begin;
  }

  // No text has so many digits that they make up for an exponent of kFar.
  static constexpr std::int64_t kFar = std::int64_t{1} << 40;
  static std::int64_t exponent_of(const unsigned char* at, const unsigned char* stop) noexcept {
    const bool down = *at == '-';
    std::int64_t sum = 0;
    for (at += *at == '-' || *at == '+'; at != stop; ++at) {
      sum = std::min(sum * 10 + (*at - '0'), kFar);
    }
    return down ? -sum : sum;
  }

  const unsigned char* begin;
  const unsigned char* end;
  bool negative;
  std::int64_t exponent = 0;
};

bool append_digit(std::uint64_t& sum, unsigned digit) noexcept {
  return !__builtin_mul_overflow(sum, std::uint64_t{10}, &sum) &&
         !__builtin_add_overflow(sum, digit, &sum);
}

}  // namespace

// An integer has no digit after its point once the zeros at its end are gone.
bool JsonNode::is_integer() const noexcept {
  if (type_ != JsonType::kNumber) return false;
  if (!(flags_ & kFraction)) return true;
  const Decimal number(raw());
  return number.begin == number.end || number.exponent >= 0;
}

bool JsonNode::fraction_magnitude(std::uint64_t& value, bool& negative) const noexcept {
  const Decimal number(raw());
  negative = number.negative;
  value = 0;
  if (number.begin == number.end) return true;
  if (number.exponent < 0 || number.exponent > std::numeric_limits<std::uint64_t>::digits10) {
    return false;
  }
  for (const unsigned char* at = number.begin; at != number.end; ++at) {
    if (*at != '.' && !append_digit(value, *at - unsigned{'0'})) return false;
  }
  for (auto zeros = number.exponent; zeros != 0; --zeros) {
    if (!append_digit(value, 0)) return false;
  }
  return true;
}

bool JsonNode::magnitude(std::uint64_t& value, bool& negative) const noexcept {
  if (type_ != JsonType::kNumber) return false;
  if (flags_ & kFraction) [[unlikely]]
    return fraction_magnitude(value, negative);
  const unsigned char* at = text_ + raw_.gap;
  const unsigned char* const end = at + raw_.len;
  negative = *at == '-';
  at += negative;
  constexpr std::ptrdiff_t kSafeDigits = 19;  // so many fit 64 bits, whatever they are
  const unsigned char* const safe_end = at + std::min(end - at, kSafeDigits);
  std::uint64_t sum = 0;
  for (; at != safe_end; ++at) sum = sum * 10 + (*at - unsigned{'0'});
  for (; at != end; ++at) {
    if (!append_digit(sum, *at - unsigned{'0'})) return false;
  }
  value = sum;
  return true;
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

std::uint32_t JsonNode::decode(unsigned short* units) const noexcept {
  if (type_ != JsonType::kString) return 0;
  return static_cast<std::uint32_t>(detail::decode_json_string(raw(), has_escapes(), units));
}

BufferRef<unsigned char> JsonNode::str8(ArenaRef arena) {
  return kept_string<unsigned char>(arena);
}
BufferRef<unsigned short> JsonNode::str16(ArenaRef arena) {
  return kept_string<unsigned short>(arena);
}

}  // namespace tstl
