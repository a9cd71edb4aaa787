#include "tools/signing/signer.h"

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <new>
#include <stdexcept>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/hex.h"
#include "datahelpers/openssl_owned.h"
#include "datahelpers/signature_block.h"

namespace zenta::signing {
namespace {

constexpr int kModulusBits = 8 * static_cast<int>(kSignatureBytes);

// OpenSSL calls this for the password of an encrypted key. Without a callback it would ask on the
// terminal.
int NoPassword(char*, int, int, void*) { return -1; }

Owned<BIGNUM, BN_free> NumberOf(const EVP_PKEY* key, const char* name) {
  BIGNUM* number = nullptr;
  if (EVP_PKEY_get_bn_param(key, name, &number) != 1) throw std::runtime_error("not an RSA key");
  return Owned<BIGNUM, BN_free>(number);
}

}  // namespace

struct Signer::Key {
  Owned<EVP_PKEY, EVP_PKEY_free> key;
};

Signer::Signer(std::unique_ptr<Key> key) : key_(std::move(key)) {}
Signer::Signer(Signer&&) noexcept = default;
Signer& Signer::operator=(Signer&&) noexcept = default;
Signer::~Signer() = default;

std::variant<Signer, std::string> Signer::FromPem(std::string_view pem) {
  const Owned<BIO, BIO_free> source{BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size()))};
  auto key = std::make_unique<Key>();
  if (source) {
    key->key.reset(PEM_read_bio_PrivateKey(source.get(), nullptr, NoPassword, nullptr));
  }
  ERR_clear_error();
  if (!key->key) return "not an unencrypted private key in PEM form";
  if (EVP_PKEY_is_a(key->key.get(), "RSA") != 1) return "not an RSA key";
  const int bits = EVP_PKEY_get_bits(key->key.get());
  if (bits == kModulusBits) return Signer(std::move(key));
  return "an RSA key of " + std::to_string(bits) + " bits; the format wants " +
         std::to_string(kModulusBits);
}

Signer Signer::Generate() {
  auto key = std::make_unique<Key>();
  key->key.reset(EVP_RSA_gen(static_cast<unsigned>(kModulusBits)));
  if (!key->key) throw std::runtime_error("no key could be made");
  return Signer(std::move(key));
}

std::string Signer::ToPem() const {
  const Owned<BIO, BIO_free> sink{BIO_new(BIO_s_mem())};
  if (!sink || PEM_write_bio_PrivateKey(sink.get(), key_->key.get(), nullptr, nullptr, 0, nullptr,
                                        nullptr) != 1) {
    throw std::bad_alloc();
  }
  char* text = nullptr;
  const auto size = static_cast<std::size_t>(BIO_get_mem_data(sink.get(), &text));
  return {text, size};
}

SignatureBlock Signer::Modulus() const {
  SignatureBlock modulus{};
  const auto number = NumberOf(key_->key.get(), OSSL_PKEY_PARAM_RSA_N);
  BN_bn2binpad(number.get(), modulus.data(), static_cast<int>(modulus.size()));
  return modulus;
}

std::uint64_t Signer::Exponent() const {
  const auto number = NumberOf(key_->key.get(), OSSL_PKEY_PARAM_RSA_E);
  if (BN_num_bits(number.get()) > 64) throw std::runtime_error("an exponent above 64 bits");
  std::array<std::uint8_t, 8> bytes{};
  BN_bn2binpad(number.get(), bytes.data(), static_cast<int>(bytes.size()));
  std::uint64_t exponent = 0;
  for (const std::uint8_t byte : bytes) exponent = exponent << 8 | byte;
  return exponent;
}

bool Signer::Matches(const SigningConfig& config) const {
  return Modulus() == config.modulus && Exponent() == config.exponent;
}

std::optional<SignatureBlock> Signer::Raise(const SignatureBlock& block) const {
  const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context{EVP_PKEY_CTX_new(key_->key.get(), nullptr)};
  SignatureBlock raised;
  std::size_t size = raised.size();
  // Without padding, OpenSSL's decryption is the plain RSA operation with the private key.
  const bool done =
      context && EVP_PKEY_decrypt_init(context.get()) == 1 &&
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) == 1 &&
      EVP_PKEY_decrypt(context.get(), raised.data(), &size, block.data(), block.size()) == 1 &&
      size == raised.size();
  ERR_clear_error();
  if (!done) return std::nullopt;
  return raised;
}

std::string Fingerprint(const SignatureBlock& modulus) {
  std::array<std::uint8_t, 32> digest{};
  if (EVP_Q_digest(nullptr, "SHA256", nullptr, modulus.data(), modulus.size(), digest.data(),
                   nullptr) != 1) {
    throw std::runtime_error("no SHA-256 here");
  }
  std::string text = HexOf(ByteView(digest).first(16));
  for (std::size_t at = text.size() - 2; at != 0; at -= 2) text.insert(at, ":");
  return text;
}

std::optional<std::string> SignDigest(std::string_view payload, const SigningConfig& config,
                                      const Signer& key) {
  const auto padded = PadPayload(BytesOf(payload));
  const auto signed_block = padded ? key.Raise(*padded) : std::nullopt;
  if (!signed_block) return std::nullopt;
  return AlphabetCodec(config.alphabet, config.value).Encode(*signed_block);
}

}  // namespace zenta::signing
