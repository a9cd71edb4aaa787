#include "engine/records/read_state.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "corelib/base/bytes.h"
#include "corelib/base/vector.h"
#include "corelib/text/utf.h"
#include "corelib/text/utf_quick.h"

namespace zenta::records {

static_assert(std::endian::native == std::endian::little,
              "raw units are sent as they lie in memory");

namespace {

// A short text is copied as 32 or 64 bytes, which is quicker than a copy of exactly its length. Most
// texts fit into 32 bytes, nearly all into 64.
struct Short {
  unsigned char bytes[32];
};
struct Line {
  unsigned char bytes[64];
};
constexpr std::uint32_t kShortUtf8 = 48;
static_assert(kShortUtf8 / 2 + tstl::kQuickThreesBytes == kShortUtf8 + 4);

// Whether the text is ASCII of at most 16 bytes. REQUIRES: 16 bytes can be read.
bool is_short_ascii(Bytes text) noexcept {
  const unsigned beyond = tstl::base::movemask(tstl::base::load<tstl::base::Bytes>(text.cstr()));
  return text.len() <= 16 && (beyond & ((1u << text.len()) - 1)) == 0;
}
// Zero-extends 16 bytes to 16 units.
void widen(const unsigned char* bytes, unsigned short* units) noexcept {
  const auto v = tstl::base::load<tstl::base::Bytes>(bytes);
  tstl::base::store(units, tstl::base::interleave_low(v, tstl::base::Bytes{}));
  tstl::base::store(units + 8, tstl::base::interleave_high(v, tstl::base::Bytes{}));
}

}  // namespace

// A text that does not fit gets a new block even when the old one still has space: most texts are
// so short that little is lost.
bool ReadState::new_text_block(std::uint64_t n, Bytes payload) {
  const std::uint64_t size = std::max((n + 1) & ~std::uint64_t{1}, block_size_);
  auto* const block = static_cast<unsigned char*>(arena_.alloc(size, 4));
  if (block == nullptr) {
    stop_for_memory(payload.cstr());
    return false;
  }
  text_ = block;
  text_left_ = size;
  return true;
}

template <tstl::Unit T>
inline T* ReadState::begin_text(std::uint32_t n, Bytes payload) {
  const std::uint64_t size = (std::uint64_t{n} + 1) * sizeof(T);
  if (size > text_left_ && !new_text_block(size, payload)) return nullptr;
  return reinterpret_cast<T*>(text_);
}

// Each text takes an even number of bytes, so that the next one is aligned for 16-bit units.
template <tstl::Unit T>
inline tstl::BufferRef<T> ReadState::end_text(std::size_t n) noexcept {
  auto* const units = reinterpret_cast<T*>(text_);
  units[n] = 0;
  const std::uint64_t size = ((n + 1) * sizeof(T) + 1) & ~std::uint64_t{1};
  text_ += size;
  text_left_ -= size;
  return {units, static_cast<std::uint32_t>(n)};
}

Bytes ReadState::keep_bytes(Bytes payload) {
  const std::uint32_t n = payload.len();
  if (n <= sizeof(Short) && has_slack<unsigned char>(payload, sizeof(Short), sizeof(Short)))
      [[likely]] {
    tstl::base::store(text_, tstl::base::load<Short>(payload.cstr()));
    return end_text<unsigned char>(n);
  }
  if (n <= sizeof(Line) && has_slack<unsigned char>(payload, sizeof(Line), sizeof(Line))) {
    tstl::base::store(text_, tstl::base::load<Line>(payload.cstr()));
    return end_text<unsigned char>(n);
  }
  auto* const copy = begin_text<unsigned char>(n, payload);
  if (copy == nullptr) return {};
  tstl::base::copy_bytes(copy, payload.cstr(), n);
  return end_text<unsigned char>(n);
}

// Converts a short text that is all ASCII, or all characters of three bytes, to units in the block.
// Returns their number; FAILURE for other texts.
inline std::uint32_t ReadState::short_units(Bytes payload) noexcept {
  const std::uint32_t n = payload.len();
  if (n > kShortUtf8 || !has_slack<unsigned short>(payload, kShortUtf8 + 4, 16)) {
    return tstl::FAILURE;
  }
  auto* const units = reinterpret_cast<unsigned short*>(text_);
  if (is_short_ascii(payload)) {
    widen(payload.cstr(), units);
    return n;
  }
  if (n % 3 != 0) return tstl::FAILURE;
  std::size_t count = tstl::quick_threes(payload.cstr(), units);
  if (count == 8 && n > 24) count += tstl::quick_threes(payload.cstr() + 24, units + 8);
  return 3 * count >= n ? n / 3 : tstl::FAILURE;
}

Text16 ReadState::keep_utf8(Bytes payload) {
  const std::uint32_t quick = short_units(payload);
  if (quick != tstl::FAILURE) [[likely]]
    return end_text<unsigned short>(quick);
  const std::uint32_t n = payload.len();  // UTF-8 has at least as many bytes as its text has units
  auto* const units = begin_text<unsigned short>(n, payload);
  if (units == nullptr) return {};
  return end_text<unsigned short>(tstl::utf8_to_utf16(payload.cstr(), n, units, n));
}

Text16 ReadState::keep_units(Bytes payload) {
  const std::uint32_t n = payload.len() / 2;
  if (n <= sizeof(Short) / 2 &&
      has_slack<unsigned short>(payload, sizeof(Short), sizeof(Short) / 2)) [[likely]] {
    tstl::base::store(text_, tstl::base::load<Short>(payload.cstr()));
    return end_text<unsigned short>(n);
  }
  auto* const units = begin_text<unsigned short>(n, payload);
  if (units == nullptr) return {};
  if (n != 0) std::memcpy(units, payload.cstr(), std::size_t{n} * 2);
  return end_text<unsigned short>(n);
}

IgnoredReason ReadState::integer_reason(const tstl::JsonNode& node) noexcept {
  return !node.type_is(tstl::JsonType::kNumber) ? IgnoredReason::kOtherType
         : node.is_integer()                    ? IgnoredReason::kOutOfRange
                                                : IgnoredReason::kNoInteger;
}
IgnoredReason ReadState::integer_reason(const tstl::JsonCursor& json) noexcept {
  return !json.type_is(tstl::JsonType::kNumber) ? IgnoredReason::kOtherType
         : json.is_integer()                    ? IgnoredReason::kOutOfRange
                                                : IgnoredReason::kNoInteger;
}

bool ReadState::keep_string(Bytes& text, tstl::JsonNode& node) {
  const Bytes kept = node.str8(arena_);
  if (kept.cstr() == nullptr) stop_for_memory();
  if (kept.cstr() != nullptr) text = kept;
  return kept.cstr() != nullptr;
}

bool ReadState::keep_string(Text16& text, tstl::JsonNode& node) {
  const Text16 kept = node.str16(arena_);
  if (kept.cstr() == nullptr) stop_for_memory();
  if (kept.cstr() != nullptr) text = kept;
  return kept.cstr() != nullptr;
}

tstl::JsonCursor ReadState::read_string(Bytes& text, tstl::JsonCursor json) {
  tstl::JsonCursor behind = json;
  Bytes raw;
  if (!behind.plain_string(raw)) [[unlikely]]
    return read_any_string(text, json);
  const Bytes kept = keep_bytes(raw);
  if (kept.cstr() == nullptr) return json;
  text = kept;
  return behind;
}

tstl::JsonCursor ReadState::read_string(Text16& text, tstl::JsonCursor json) {
  tstl::JsonCursor behind = json;
  Bytes raw;
  if (!behind.plain_string(raw)) [[unlikely]]
    return read_any_string(text, json);
  std::size_t n = short_units(raw);
  if (n == tstl::FAILURE) [[unlikely]] {
    auto* const units = begin_text<unsigned short>(raw.len(), raw);
    if (units == nullptr) return json;
    n = tstl::utf8_to_utf16_lossless(raw.cstr(), raw.len(), units);
  }
  text = end_text<unsigned short>(n);
  return behind;
}

template <tstl::Unit T>
[[gnu::noinline]] tstl::JsonCursor ReadState::read_any_string(tstl::BufferRef<T>& text,
                                                              tstl::JsonCursor json) {
  if constexpr (sizeof(T) == 1) {
    const std::uint32_t quick = json.quick_string(text_, text_left_);
    if (quick != tstl::FAILURE) {
      text = end_text<T>(quick);
      return json;
    }
  }
  tstl::JsonCursor::RawString string;
  if (!json.find_string(string)) return json;
  T* const units = begin_text<T>(string.raw.len(), Bytes());
  if (units == nullptr) return json;
  text = end_text<T>(json.string(string, units));
  return json;
}

}  // namespace zenta::records
