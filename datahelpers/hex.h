// Hexadecimal digits.
#pragma once

#include <string>
#include <string_view>

#include "datahelpers/bytes.h"

namespace zenta::signing {

inline constexpr std::string_view kLowerHexDigits = "0123456789abcdef";
inline constexpr std::string_view kUpperHexDigits = "0123456789ABCDEF";

// Two lower-case digits per byte, the high four bits first.
[[nodiscard]] inline std::string HexOf(ByteView bytes) {
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text.push_back(kLowerHexDigits[byte >> 4]);
    text.push_back(kLowerHexDigits[byte & 15]);
  }
  return text;
}

// The value of a digit of either case, -1 for any other character.
[[nodiscard]] constexpr int HexDigitValue(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  const char lower = static_cast<char>(digit | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace zenta::signing
