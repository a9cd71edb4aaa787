// The cryptography on every system but Apple's: OpenSSL's EVP interface.
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <cassert>
#include <new>
#include <stdexcept>

#include "datahelpers/crypto.h"
#include "datahelpers/openssl_owned.h"

namespace zenta::signing {
namespace {

// Throws if a call of OpenSSL has failed.
void Check(bool success, const char* what) {
  if (!success) throw std::runtime_error(what);
}

}  // namespace

struct Md5::State {
  Owned<EVP_MD_CTX, EVP_MD_CTX_free> context{EVP_MD_CTX_new()};
};

Md5::Md5() : state_(std::make_unique<State>()) {
  if (!state_->context) throw std::bad_alloc();
  Check(EVP_DigestInit_ex(state_->context.get(), EVP_md5(), nullptr) == 1, "no MD5 here");
}

Md5::~Md5() = default;

void Md5::Update(ByteView bytes) {
  Check(EVP_DigestUpdate(state_->context.get(), bytes.data(), bytes.size()) == 1, "MD5 failed");
}

Md5Digest Md5::Finish() {
  Md5Digest digest;
  assert(EVP_MD_CTX_get_size(state_->context.get()) == static_cast<int>(digest.size()));
  Check(EVP_DigestFinal_ex(state_->context.get(), digest.data(), nullptr) == 1, "MD5 failed");
  return digest;
}

struct RsaPublicKey::Key {
  Owned<EVP_PKEY, EVP_PKEY_free> key;
};

RsaPublicKey::RsaPublicKey(const SigningConfig& config) : key_(std::make_unique<Key>()) {
  const Owned<BIGNUM, BN_free> modulus{
      BN_bin2bn(config.modulus.data(), static_cast<int>(config.modulus.size()), nullptr)};
  const Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free> builder{OSSL_PARAM_BLD_new()};
  if (!modulus || !builder) throw std::bad_alloc();
  // If a push fails, that parameter is missing below and the key is refused.
  OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, modulus.get());
  OSSL_PARAM_BLD_push_uint64(builder.get(), OSSL_PKEY_PARAM_RSA_E, config.exponent);
  const Owned<OSSL_PARAM, OSSL_PARAM_free> parameters{OSSL_PARAM_BLD_to_param(builder.get())};
  const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context{
      EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr)};
  EVP_PKEY* key = nullptr;
  const bool made =
      parameters && context && EVP_PKEY_fromdata_init(context.get()) == 1 &&
      EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters.get()) == 1;
  key_->key.reset(key);
  Check(made, "the public key was not taken");
}

RsaPublicKey::~RsaPublicKey() = default;

std::optional<SignatureBlock> RsaPublicKey::Raise(const SignatureBlock& block) const {
  const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context{EVP_PKEY_CTX_new(key_->key.get(), nullptr)};
  SignatureBlock raised;
  std::size_t size = raised.size();
  // Without padding, OpenSSL's encryption is the bare public operation; it refuses a block that is
  // not below the modulus.
  const bool done =
      context && EVP_PKEY_encrypt_init(context.get()) == 1 &&
      EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_NO_PADDING) == 1 &&
      EVP_PKEY_encrypt(context.get(), raised.data(), &size, block.data(), block.size()) == 1 &&
      size == raised.size();
  ERR_clear_error();  // a refused block leaves an entry in the thread's error queue
  if (!done) return std::nullopt;
  return raised;
}

}  // namespace zenta::signing
