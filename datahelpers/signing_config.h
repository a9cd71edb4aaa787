// The signing configuration: the public key and the codec's two parameters. One is compiled into
// the updater; the tools can read others from files.
//
// The file is a text of `name = value` lines. Empty lines and lines that begin with '#' are
// skipped.
//
//   modulus      256 lower-case hexadecimal digits: the 1,024-bit modulus, most significant first
//   exponent     the public exponent, decimal
//   alphabet     the codec's 64 characters, each of A-Z a-z 0-9 _ - once
//   value        the word scrambler's value, 8 lower-case hexadecimal digits
//   development  yes or no; yes: the private key is public, so no release is built with it
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// The size in bytes of the modulus, and so of every signature block.
inline constexpr std::size_t kSignatureBytes = 128;
using SignatureBlock = std::array<std::uint8_t, kSignatureBytes>;

struct SigningConfig {
  SignatureBlock modulus{};    // most significant byte first; odd, its top bit set
  std::uint64_t exponent = 0;  // odd, at least 3
  std::array<char, 64> alphabet{};
  std::uint32_t value = 0;  // of the word scrambler
  bool development = false;

  bool operator==(const SigningConfig&) const = default;
};

// The configuration that this program was built with.
[[nodiscard]] const SigningConfig& BuiltInSigningConfig();

// Reads a configuration from its text. Each of the names has to occur once, and no other name. On
// failure returns one sentence for people that names the line or the value.
[[nodiscard]] std::variant<SigningConfig, std::string> ParseSigningConfig(std::string_view text);

// The same from a file; the sentence then begins with the path.
[[nodiscard]] std::variant<SigningConfig, std::string> ReadSigningConfig(const std::string& path);

// The text of a file that reads back as `config`, without comments.
[[nodiscard]] std::string FormatSigningConfig(const SigningConfig& config);

}  // namespace zenta::signing
