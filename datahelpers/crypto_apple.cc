// The cryptography of Apple's systems: CommonCrypto's MD5, and the RSA operation of the Security
// framework (macOS 10.12).
#include <CommonCrypto/CommonDigest.h>
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <type_traits>

#include "datahelpers/crypto.h"

// Apple deprecates MD5 because it is broken as the digest of a signature (docs/security.md says
// what follows from that). The format of the digest file prescribes it.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace zenta::signing {
namespace {

struct CfRelease {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};

// Owns the result of a function with Create in its name; null if that failed.
template <class Ref>
using Created = std::unique_ptr<std::remove_pointer_t<Ref>, CfRelease>;

Created<CFDataRef> CreateData(ByteView bytes) {
  return Created<CFDataRef>(
      CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

// DER (X.690, 8.1.3 and 8.3) of a positive number: most significant byte first, and a zero in front
// where the top bit would make it negative.
void AppendInteger(Bytes& der, ByteView number) {
  while (number.size() > 1 && number.front() == 0) number = number.subspan(1);
  const std::size_t zeros = number.front() >> 7;
  const std::size_t size = number.size() + zeros;
  der.push_back(0x02);
  if (size > 0x7F) der.push_back(0x81);
  der.push_back(static_cast<std::uint8_t>(size));
  der.insert(der.end(), zeros, 0);
  der.insert(der.end(), number.begin(), number.end());
}

// RSAPublicKey of RFC 8017, A.1.1: the sequence of modulus and exponent.
Bytes DerOf(const SigningConfig& config) {
  std::array<std::uint8_t, 8> exponent;
  for (std::size_t i = 0; i != 8; ++i) {
    exponent[i] = static_cast<std::uint8_t>(config.exponent >> (56 - 8 * i));
  }
  Bytes numbers;
  AppendInteger(numbers, config.modulus);
  AppendInteger(numbers, exponent);
  // These are 135 to 143 bytes, so their number takes one byte after 81.
  Bytes der = {0x30, 0x81, static_cast<std::uint8_t>(numbers.size())};
  der.insert(der.end(), numbers.begin(), numbers.end());
  return der;
}

}  // namespace

struct Md5::State {
  CC_MD5_CTX context;
};

Md5::Md5() : state_(std::make_unique<State>()) { CC_MD5_Init(&state_->context); }

Md5::~Md5() = default;

void Md5::Update(ByteView bytes) {
  while (!bytes.empty()) {  // one call takes at most 2^32 - 1 bytes
    const std::size_t size =
        std::min<std::size_t>(bytes.size(), std::numeric_limits<CC_LONG>::max());
    CC_MD5_Update(&state_->context, bytes.data(), static_cast<CC_LONG>(size));
    bytes = bytes.subspan(size);
  }
}

Md5Digest Md5::Finish() {
  Md5Digest digest;
  CC_MD5_Final(digest.data(), &state_->context);
  return digest;
}

struct RsaPublicKey::Key {
  Created<SecKeyRef> key;
  SignatureBlock modulus;
};

RsaPublicKey::RsaPublicKey(const SigningConfig& config) {
  const void* names[] = {kSecAttrKeyType, kSecAttrKeyClass};
  const void* values[] = {kSecAttrKeyTypeRSA, kSecAttrKeyClassPublic};
  const Created<CFDictionaryRef> attributes(
      CFDictionaryCreate(nullptr, names, values, std::size(names), &kCFTypeDictionaryKeyCallBacks,
                         &kCFTypeDictionaryValueCallBacks));
  const auto der = CreateData(DerOf(config));
  if (!attributes || !der) throw std::bad_alloc();
  Created<SecKeyRef> key(SecKeyCreateWithData(der.get(), attributes.get(), nullptr));
  if (!key) throw std::runtime_error("the public key was not taken");
  key_.reset(new Key{std::move(key), config.modulus});
}

RsaPublicKey::~RsaPublicKey() = default;

std::optional<SignatureBlock> RsaPublicKey::Raise(const SignatureBlock& block) const {
  // Compares two numbers of equal length, most significant byte first. What the framework does with
  // a block that is not below the modulus is not documented.
  if (block >= key_->modulus) return std::nullopt;
  const auto plain = CreateData(block);
  if (!plain) throw std::bad_alloc();
  const Created<CFDataRef> raised(SecKeyCreateEncryptedData(
      key_->key.get(), kSecKeyAlgorithmRSAEncryptionRaw, plain.get(), nullptr));
  SignatureBlock result;
  if (!raised || CFDataGetLength(raised.get()) != CFIndex{kSignatureBytes}) return std::nullopt;
  std::copy_n(CFDataGetBytePtr(raised.get()), kSignatureBytes, result.begin());
  return result;
}

}  // namespace zenta::signing
