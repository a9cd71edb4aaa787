// The private half of signing: used by the tools that release and by tests, never by the updater.
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
  // From the text of an unencrypted PEM file (PKCS#8 or PKCS#1). On failure: one sentence for a
  // person.
  [[nodiscard]] static std::variant<Signer, std::string> FromPem(std::string_view pem);
  // A fresh key with the exponent 65537. Throws std::runtime_error if the system cannot make one.
  [[nodiscard]] static Signer Generate();

  Signer(Signer&&) noexcept;
  Signer& operator=(Signer&&) noexcept;
  ~Signer();

  // PKCS#8 PEM, unencrypted: whoever stores it guards it.
  [[nodiscard]] std::string ToPem() const;

  // The public half, as a configuration has it.
  [[nodiscard]] SignatureBlock Modulus() const;
  [[nodiscard]] std::uint64_t Exponent() const;
  // Whether signatures of this key open with `config`.
  [[nodiscard]] bool Matches(const SigningConfig& config) const;

  // block ^ private exponent mod modulus; nullopt if the block is not below the modulus.
  [[nodiscard]] std::optional<SignatureBlock> Raise(const SignatureBlock& block) const;

 private:
  struct Key;
  explicit Signer(std::unique_ptr<Key> key);
  std::unique_ptr<Key> key_;
};

// What people compare keys by: the first 16 bytes of the modulus's SHA-256 as "ab:cd:...".
[[nodiscard]] std::string Fingerprint(const SignatureBlock& modulus);

// The text of a digest file for `payload` (the package's digest as 32 lower-case hexadecimal
// digits): padded, raised with the key, scrambled and written in the configuration's alphabet,
// without a line end. nullopt if the payload is too long for a block.
[[nodiscard]] std::optional<std::string> SignDigest(std::string_view payload,
                                                    const SigningConfig& config, const Signer& key);

}  // namespace zenta::signing
