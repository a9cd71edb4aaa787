// The two operations that the data helpers take from the system's cryptography: MD5 (RFC 1321) and
// the RSA public operation without padding (RFC 8017, 5.2.2). One source file per system implements
// them: crypto_openssl.cc and crypto_apple.cc.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "datahelpers/bytes.h"
#include "datahelpers/signing_config.h"

namespace zenta::signing {

using Md5Digest = std::array<std::uint8_t, 16>;

// A digest that is being computed. Members throw std::bad_alloc, or std::runtime_error if the
// system's MD5 fails or is not available.
class Md5 {
 public:
  Md5();
  ~Md5();
  Md5(Md5&&) = delete;

  void Update(ByteView bytes);
  // The digest of all bytes so far. REQUIRES: called once, and no Update follows.
  [[nodiscard]] Md5Digest Finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

[[nodiscard]] inline Md5Digest Md5Of(ByteView bytes) {
  Md5 md5;
  md5.Update(bytes);
  return md5.Finish();
}

// A 1,024-bit public key, for any number of blocks.
class RsaPublicKey {
 public:
  // Throws std::runtime_error if the system refuses the key, std::bad_alloc if memory runs out.
  explicit RsaPublicKey(const SigningConfig& config);
  ~RsaPublicKey();
  RsaPublicKey(RsaPublicKey&&) = delete;

  // block ^ exponent mod modulus. Block and result are big-endian numbers, and padding is neither
  // added nor checked. nullopt if the block is not below the modulus or the system's call fails.
  [[nodiscard]] std::optional<SignatureBlock> Raise(const SignatureBlock& block) const;

 private:
  struct Key;
  std::unique_ptr<Key> key_;
};

}  // namespace zenta::signing
