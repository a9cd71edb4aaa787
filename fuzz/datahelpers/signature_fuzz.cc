// Decodes a digest file from its text to its payload. The first byte of an input tells what the
// rest is: a text, a payload, or bytes to be combined with a block. Invariants:
//   1. A text that decodes is, blanks aside, the one that these bytes are encoded as.
//   2. A payload that was signed comes back, and one that does not fit is not signed.
//   3. Of all blocks that the private key can make, exactly those are accepted whose padding is
//      exact.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/ztdh_class.h"
#include "fuzz/require.h"
#include "tests/datahelpers/signing_key.h"

namespace zenta::signing {
namespace {

using zenta::fuzz::Require;

const AlphabetCodec& Codec() {
  static const AlphabetCodec codec(BuiltInSigningConfig().alphabet, BuiltInSigningConfig().value);
  return codec;
}

void CheckText(ByteView input) {
  const Data bytes = ZTDHClass::ZTDHMethod014(input);
  if (!bytes) return;
  std::string text = TextOf(input);
  std::erase_if(text, [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; });
  Require(!bytes->empty() && Codec().Encode(*bytes) == text);
}

void CheckPayload(ByteView payload) {
  const auto text = SignDigest(TextOf(payload), BuiltInSigningConfig(), TestSigner());
  Require(text.has_value() == (payload.size() <= kMaxPayloadBytes));
  if (!text) return;
  const Data opened = ZTDHClass::ZTDHMethod021(ZTDHClass::ZTDHMethod014(BytesOf(*text)));
  Require(opened && std::equal(opened->begin(), opened->end(), payload.begin(), payload.end()));
}

// Signs a valid block after an exclusive-or with the input, whose first byte is the position.
void CheckPadding(ByteView input) {
  if (input.empty()) return;
  SignatureBlock block = *PadPayload(BytesOf("0123456789abcdef0123456789abcdef"));
  const std::size_t at = input[0] % kSignatureBytes;
  const std::size_t size = std::min(input.size() - 1, kSignatureBytes - at);
  for (std::size_t i = 0; i != size; ++i) block[at + i] ^= input[1 + i];
  const auto signed_block = TestSigner().Raise(block);
  if (!signed_block) return;  // not below the modulus, so it cannot be signed
  const Data opened =
      ZTDHClass::ZTDHMethod021(ZTDHClass::ZTDHMethod014(BytesOf(Codec().Encode(*signed_block))));
  Require(opened.has_value() == IsExactlyPadded(block));
  Require(!opened || PadPayload(*opened) == block);
}

}  // namespace
}  // namespace zenta::signing

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zenta::signing;
  if (size == 0) return 0;
  static constexpr auto kChecks = {CheckText, CheckPayload, CheckPadding};
  kChecks.begin()[data[0] % kChecks.size()]({data + 1, size - 1});
  return 0;
}
