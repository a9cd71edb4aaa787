// The signed block: a payload with PKCS#1 v1.5 padding (RFC 2313, 8.1: block type 1), raised to the
// private exponent when a release is signed, and opened here with the public key.
//
//   offset  size    contents
//   0       1       00
//   1       1       01
//   2       8..125  FF
//   then    1       00
//   then    rest    payload, 0 to 117 bytes
//
// The payload is the bare text, without the DigestInfo of RFC 8017, 9.2. The padding is checked
// byte by byte from the front and has to be exactly as above. Nothing is searched for, so other
// bytes cannot be taken for a payload.
#pragma once

#include <cstddef>
#include <optional>

#include "datahelpers/bytes.h"
#include "datahelpers/crypto.h"
#include "datahelpers/signing_config.h"

namespace zenta::signing {

inline constexpr std::size_t kMaxPayloadBytes = kSignatureBytes - 11;

// The payload with its padding in front; nullopt if it is longer than kMaxPayloadBytes.
[[nodiscard]] std::optional<SignatureBlock> PadPayload(ByteView payload);

// The payload of a padded block; nil if the padding is not exactly as above.
[[nodiscard]] Data PayloadOf(const SignatureBlock& padded);

// Opens the first kSignatureBytes of `signed_bytes` with the public key and returns the payload.
// nil if there are fewer bytes, the block is not below the modulus, or the padding is wrong.
// Bytes after the first block are ignored: a caller that wants exactly one block has to check the
// length.
[[nodiscard]] Data OpenSignatureBlock(ByteView signed_bytes, const RsaPublicKey& key);

}  // namespace zenta::signing
