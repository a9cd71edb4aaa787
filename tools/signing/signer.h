// Signing with the private key: used by the release tools and by tests, never by the updater.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "datahelpers/signing_config.h"

namespace zenta::signing {

// A 1,024-bit RSA private key.
class Signer {
 public:
  // Reads the text of an unencrypted PEM file (PKCS#8 or PKCS#1). On failure returns the fault as
  // words for people.
  [[nodiscard]] static std::variant<Signer, std::string> FromPem(std::string_view pem);
  // A fresh key with the exponent 65537. Throws std::runtime_error if the system cannot make one.
  [[nodiscard]] static Signer Generate();

  Signer(Signer&&) noexcept;
  Signer& operator=(Signer&&) noexcept;
  ~Signer();

  // The private key as unencrypted PKCS#8 PEM. The caller has to keep it secret.
  [[nodiscard]] std::string ToPem() const;

  // The public key, in the form of SigningConfig.
  [[nodiscard]] SignatureBlock Modulus() const;
  // Throws std::runtime_error if the exponent has more than 64 bits.
  [[nodiscard]] std::uint64_t Exponent() const;
  // Whether `config` has the public key of this key, so that its signatures open with it.
  [[nodiscard]] bool Matches(const SigningConfig& config) const;

  // block ^ private exponent mod modulus, without padding; nullopt if the block is not below the
  // modulus.
  [[nodiscard]] std::optional<SignatureBlock> Raise(const SignatureBlock& block) const;

 private:
  struct Key;
  explicit Signer(std::unique_ptr<Key> key);
  std::unique_ptr<Key> key_;
};

// The fingerprint that people compare keys by: the first 16 bytes of the SHA-256 of the modulus
// (128 bytes, most significant first), as "ab:cd:...".
[[nodiscard]] std::string Fingerprint(const SignatureBlock& modulus);

// The text of a digest file for `payload` (the package's digest as 32 lower-case hexadecimal
// digits), without a line end. The payload is padded, raised to the private exponent, scrambled and
// encoded in the configuration's alphabet. nullopt if it is too long for a block.
[[nodiscard]] std::optional<std::string> SignDigest(std::string_view payload,
                                                    const SigningConfig& config, const Signer& key);

}  // namespace zenta::signing
