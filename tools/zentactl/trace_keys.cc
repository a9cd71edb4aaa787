#include "tools/zentactl/trace_keys.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include "corelib/text/utf.h"

namespace zenta::zentactl {
namespace {

using trace::KeyRect;
using trace::ScreenPoint;
using trace::ScreenRect;
using trace::TraceRecord;

bool Holds(const ScreenRect& rect, const ScreenPoint& at) {
  return at[0] >= rect[0] && at[0] < rect[2] && at[1] >= rect[1] && at[1] < rect[3];
}

template <class Predicate>
std::uint16_t IndexOf(std::span<const KeyRect> keys, Predicate predicate) {
  const auto found = std::ranges::find_if(keys, predicate);
  return found == keys.end() ? kNoKey : static_cast<std::uint16_t>(found - keys.begin());
}

std::uint16_t KeyOf(std::span<const KeyRect> keys, char32_t character) {
  constexpr char kDigits[] = "22233344455566677778889999";  // of a to z on a telephone
  const char32_t lower = character | 0x20;
  const bool is_letter = lower >= 'a' && lower <= 'z';
  const auto key_of = [&](char32_t id) {
    return IndexOf(keys, [id](const KeyRect& key) { return key.id == id; });
  };
  std::uint16_t key = key_of(character);
  if (key == kNoKey && is_letter) key = key_of(character ^ 0x20);
  if (key == kNoKey && is_letter) key = key_of(static_cast<unsigned char>(kDigits[lower - 'a']));
  return key;
}

// The characters of UTF-8 text. An ill-formed byte becomes U+FFFD, which no key enters.
std::u32string Characters(records::Bytes text) {
  std::u32string characters;
  tstl::BufferRefMutable<unsigned char> rest = text;
  while (rest) {
    const std::size_t length = tstl::utf8_sequence_length(rest.cstr(), rest.len());
    characters += length == 0 ? U'\uFFFD' : tstl::decode_utf8(rest.cstr(), length);
    rest.fetch_head(static_cast<unsigned>(std::max<std::size_t>(length, 1)));
  }
  return characters;
}

std::u32string CharactersMeant(const TraceRecord& input) {
  std::u32string meant = Characters(input.code);
  if (meant.empty()) {
    meant.reserve(input.expected.len());
    for (const unsigned short unit : input.expected.std_view()) meant += char32_t{unit};
  }
  if (meant.size() != input.points.size()) {
    std::erase_if(meant, [](char32_t c) { return c == '\'' || c == ' '; });
  }
  return meant;
}

}  // namespace

std::vector<TouchKeys> FindKeys(std::span<const KeyRect> keys, const TraceRecord& input) {
  std::vector<TouchKeys> found(input.points.size());
  for (std::uint32_t i = 0; i < found.size(); ++i) {
    found[i].hit =
        IndexOf(keys, [&](const KeyRect& key) { return Holds(key.rect, input.points[i]); });
  }
  const std::u32string meant = CharactersMeant(input);
  if (meant.size() != found.size()) return found;
  for (std::size_t i = 0; i < found.size(); ++i) found[i].meant = KeyOf(keys, meant[i]);
  return found;
}

double FromMiddle(const ScreenRect& key, const ScreenPoint& at) {
  const auto along = [&](std::size_t axis) {
    const double half = (key[axis + 2] - key[axis]) / 2.0;
    return half <= 0 ? 0 : std::abs(at[axis] - (key[axis] + half)) / half;
  };
  return std::max(along(0), along(1));
}

}  // namespace zenta::zentactl
