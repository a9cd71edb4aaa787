// The signed block: a payload in PKCS#1 v1.5 padding (RFC 8017, 9.2 and RFC 2313, 8.1: block type
// 1), raised with the private key by whoever releases, and opened here with the public one.
//
//   offset  size    contents
//   0       1       00
//   1       1       01
//   2       8..125  FF
//   then    1       00
//   then    rest    payload, 0 to 117 bytes
//
// There is one way to read a block: the padding is walked from the front and has to be exactly
// that. Nothing is searched for, so no other bytes can pass for a payload.
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

// What PadPayload was given; nil if the padding is not exactly as above.
[[nodiscard]] Data PayloadOf(const SignatureBlock& padded);

// Opens the first kSignatureBytes of `signed_bytes` with the public key and returns the payload.
// nil if there are fewer bytes, the block is not below the modulus, or the padding is wrong.
// Further bytes are not looked at: a caller that wants exactly one block compares the length
// itself.
[[nodiscard]] Data OpenSignatureBlock(ByteView signed_bytes, const RsaPublicKey& key);

}  // namespace zenta::signing
