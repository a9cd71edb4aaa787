// CommonCrypto's MD5, implemented with OpenSSL's.
#pragma once

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <cstdint>

using CC_LONG = std::uint32_t;
using CC_MD5_CTX = MD5_CTX;

inline int CC_MD5_Init(CC_MD5_CTX* context) { return MD5_Init(context); }
inline int CC_MD5_Update(CC_MD5_CTX* context, const void* bytes, CC_LONG size) {
  return MD5_Update(context, bytes, size);
}
inline int CC_MD5_Final(unsigned char* digest, CC_MD5_CTX* context) {
  return MD5_Final(digest, context);
}
