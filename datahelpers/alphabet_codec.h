// Bytes as text in a 64-character alphabet of the program's own, over a word scrambler.
//
// Writing: the bytes are scrambled, then written six bits a character, the first byte's high bits
// first, without padding characters: n bytes make ceil(4n / 3) characters.
//
//   scrambling, little-endian 32-bit words:  word = rotate_left(word ^ value, 3)
//   a tail of 1 to 3 bytes:                  byte i ^= byte i of value, low byte first
//
// This is no encryption: whoever has the alphabet and the value can read the text.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>

#include "datahelpers/bytes.h"

namespace zenta::signing {

class AlphabetCodec {
 public:
  // `value` is the scrambler's. REQUIRES: the 64 characters are distinct.
  AlphabetCodec(std::span<const char, 64> alphabet, std::uint32_t value);

  [[nodiscard]] std::string Encode(ByteView bytes) const;

  // The bytes that `text` encodes. Blanks, tabs and line ends (CR, LF) are skipped everywhere. nil
  // if there are no bytes, or if Encode cannot have made the text: it has another character from
  // outside the alphabet, a single character left over, or left-over bits that are not zero.
  [[nodiscard]] Data Decode(ByteView text) const;

 private:
  std::array<char, 64> alphabet_;
  // By byte value: the position in the alphabet, or kForeign.
  std::array<std::uint8_t, 256> positions_;
  std::uint32_t value_;
};

}  // namespace zenta::signing
