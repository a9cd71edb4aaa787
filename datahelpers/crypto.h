// The two operations that the data helpers take from the system's cryptography: MD5 (RFC 1321) and
// the bare RSA public operation. One source per system implements them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>

#include "datahelpers/bytes.h"
#include "datahelpers/signing_config.h"

namespace zenta::signing {

using Md5Digest = std::array<std::uint8_t, 16>;

// A running digest. Throws std::bad_alloc or std::runtime_error if the system has no MD5 to offer.
class Md5 {
 public:
  Md5();
  ~Md5();
  Md5(Md5&&) = delete;

  void Update(ByteView bytes);
  // The digest of all that was fed. REQUIRES: called once, and no Update follows.
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

// A 1,024-bit public key, made once and used for any number of blocks.
class RsaPublicKey {
 public:
  // Throws std::runtime_error if the system does not take the key.
  explicit RsaPublicKey(const SigningConfig& config);
  ~RsaPublicKey();
  RsaPublicKey(RsaPublicKey&&) = delete;

  // block ^ exponent mod modulus, both as big-endian numbers, without any padding; nullopt if the
  // block is not below the modulus.
  [[nodiscard]] std::optional<SignatureBlock> Raise(const SignatureBlock& block) const;

 private:
  struct Key;
  std::unique_ptr<Key> key_;
};

}  // namespace zenta::signing
