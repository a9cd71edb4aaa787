#include "datahelpers/signature_block.h"

#include <algorithm>

namespace zenta::signing {
namespace {

constexpr std::uint8_t kFill = 0xFF;
constexpr std::ptrdiff_t kMinFill = 8;

}  // namespace

std::optional<SignatureBlock> PadPayload(ByteView payload) {
  if (payload.size() > kMaxPayloadBytes) return std::nullopt;
  SignatureBlock padded;
  padded.fill(kFill);
  padded[0] = 0;
  padded[1] = 1;
  padded[kSignatureBytes - payload.size() - 1] = 0;
  std::copy(payload.begin(), payload.end(),
            padded.end() - static_cast<std::ptrdiff_t>(payload.size()));
  return padded;
}

Data PayloadOf(const SignatureBlock& padded) {
  if (padded[0] != 0 || padded[1] != 1) return std::nullopt;
  // The first byte that is not fill has to be the zero; the payload begins after it.
  const auto fill = padded.begin() + 2;
  const auto separator = std::find_if(fill, padded.end(), [](auto byte) { return byte != kFill; });
  if (separator - fill < kMinFill || separator == padded.end() || *separator != 0) {
    return std::nullopt;
  }
  return Bytes(separator + 1, padded.end());
}

Data OpenSignatureBlock(ByteView signed_bytes, const RsaPublicKey& key) {
  if (signed_bytes.size() < kSignatureBytes) return std::nullopt;
  SignatureBlock block;
  std::copy_n(signed_bytes.begin(), block.size(), block.begin());
  const auto padded = key.Raise(block);
  return padded ? PayloadOf(*padded) : std::nullopt;
}

}  // namespace zenta::signing
