// What a release is signed with, as far as it is public: the updater carries one such
// configuration, fixed when it is built; the tools read others from files.
//
// The file is text of `name = value` lines; a line that begins with '#' and an empty line are
// skipped.
//
//   modulus      256 lower-case hexadecimal digits: the 1,024-bit modulus, most significant first
//   exponent     the public exponent, decimal
//   alphabet     the codec's 64 characters, each of A-Z a-z 0-9 _ - once
//   value        the word scrambler's value, 8 lower-case hexadecimal digits
//   development  yes or no; yes: the private key is public
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// Bytes of the modulus, and so of every signature block.
inline constexpr std::size_t kSignatureBytes = 128;
using SignatureBlock = std::array<std::uint8_t, kSignatureBytes>;

struct SigningConfig {
  SignatureBlock modulus{};    // most significant byte first; odd, its top bit set
  std::uint64_t exponent = 0;  // odd, at least 3
  std::array<char, 64> alphabet{};
  std::uint32_t value = 0;
  bool development = false;

  bool operator==(const SigningConfig&) const = default;
};

// The configuration that this program was built with.
[[nodiscard]] const SigningConfig& BuiltInSigningConfig();

// Reads a configuration from its text. On failure: one sentence for a person, naming the line or
// the value that is wrong. Every name has to be there once, and no other.
[[nodiscard]] std::variant<SigningConfig, std::string> ParseSigningConfig(std::string_view text);

// The same from a file; the sentence then begins with the path.
[[nodiscard]] std::variant<SigningConfig, std::string> ReadSigningConfig(const std::string& path);

// The text of a file that reads back as `config`; the comment in front is the caller's.
[[nodiscard]] std::string FormatSigningConfig(const SigningConfig& config);

}  // namespace zenta::signing
