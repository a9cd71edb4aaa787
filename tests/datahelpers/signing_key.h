// The key that tests and fuzzers sign with, and a slow check of a block's padding.
#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>

#include "datahelpers/signature_block.h"
#include "tools/signing/signer.h"

namespace zenta::signing {

// The private key of the built-in configuration, from the file that the build names.
inline const Signer& TestSigner() {
  static const auto read = [] {
    std::ifstream file(ZENTA_TEST_SIGNING_KEY, std::ios::binary);
    return Signer::FromPem(std::string(std::istreambuf_iterator<char>(file), {}));
  }();
  if (!std::get<Signer>(read).Matches(BuiltInSigningConfig())) {
    throw std::runtime_error(ZENTA_TEST_SIGNING_KEY
                             " does not belong to the built-in configuration");
  }
  return std::get<Signer>(read);
}

// Whether PadPayload makes this block from some payload. Tries every length.
inline bool IsExactlyPadded(const SignatureBlock& block) {
  for (std::size_t size = 0; size <= kMaxPayloadBytes; ++size) {
    if (PadPayload(ByteView(block).last(size)) == block) return true;
  }
  return false;
}

}  // namespace zenta::signing
