#include "datahelpers/alphabet_codec.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstddef>

namespace zenta::signing {
namespace {

// The position of every byte outside the alphabet: one past the last position.
constexpr std::uint8_t kForeign = 64;

bool IsBlank(std::uint8_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Byte `index` of a 32-bit word in little-endian order.
std::uint8_t ByteAt(std::uint32_t word, std::size_t index) {
  return static_cast<std::uint8_t>(word >> (8 * index));
}

// Replaces every whole word by step(word), and each byte of the tail by its exclusive-or with
// `value`. The latter is its own inverse, so one function serves both directions.
template <class Step>
void ForEachWord(std::span<std::uint8_t> bytes, std::uint32_t value, Step step) {
  for (; bytes.size() >= 4; bytes = bytes.subspan(4)) {
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- != 0;) word = word << 8 | bytes[i];
    word = step(word);
    for (std::size_t i = 0; i != 4; ++i) bytes[i] = ByteAt(word, i);
  }
  for (std::size_t i = 0; i != bytes.size(); ++i) bytes[i] ^= ByteAt(value, i);
}

}  // namespace

AlphabetCodec::AlphabetCodec(std::span<const char, 64> alphabet, std::uint32_t value)
    : value_(value) {
  std::copy(alphabet.begin(), alphabet.end(), alphabet_.begin());
  positions_.fill(kForeign);
  for (std::uint8_t position = 0; position != alphabet_.size(); ++position) {
    std::uint8_t& entry = positions_[static_cast<std::uint8_t>(alphabet_[position])];
    assert(entry == kForeign);
    entry = position;
  }
}

std::string AlphabetCodec::Encode(ByteView bytes) const {
  Bytes scrambled(bytes.begin(), bytes.end());
  ForEachWord(scrambled, value_,
              [this](std::uint32_t word) { return std::rotl(word ^ value_, 3); });
  std::string text;
  text.reserve(bytes.size() / 3 * 4 + 4);
  std::uint32_t pending = 0;  // its low `bits` bits are still to be written
  int bits = 0;
  for (const std::uint8_t byte : scrambled) {
    pending = pending << 8 | byte;
    for (bits += 8; bits >= 6;) {
      bits -= 6;
      text.push_back(alphabet_[pending >> bits & 63]);
    }
  }
  if (bits != 0) text.push_back(alphabet_[pending << (6 - bits) & 63]);
  return text;
}

Data AlphabetCodec::Decode(ByteView text) const {
  Bytes bytes;
  std::uint32_t pending = 0;  // its low `bits` bits belong to the next byte
  int bits = 0;
  for (const std::uint8_t character : text) {
    if (IsBlank(character)) continue;
    const std::uint8_t position = positions_[character];
    if (position == kForeign) return std::nullopt;
    pending = pending << 6 | position;
    bits += 6;
    if (bits < 8) continue;
    bits -= 8;
    bytes.push_back(static_cast<std::uint8_t>(pending >> bits));
  }
  // Six bits left over are a whole character that belongs to no byte, which is refused even if they
  // are zero. Two or four bits left over have to be zero. So, blanks aside, only one text decodes
  // to given bytes.
  const bool whole = bits != 6 && (pending & ((1u << bits) - 1)) == 0;
  if (!whole || bytes.empty()) return std::nullopt;
  ForEachWord(bytes, value_, [this](std::uint32_t word) { return std::rotr(word, 3) ^ value_; });
  return bytes;
}

}  // namespace zenta::signing
