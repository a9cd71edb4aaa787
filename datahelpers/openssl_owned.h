// Smart pointers to OpenSSL's objects: Owned<BIGNUM, BN_free> frees its object when it is
// destroyed.
//
// Only for source files that link OpenSSL; no other header includes it.
#pragma once

#include <memory>

namespace zenta::signing {

template <auto Free>
struct OpensslFree {
  template <class Object>
  void operator()(Object* object) const {
    Free(object);
  }
};

template <class Object, auto Free>
using Owned = std::unique_ptr<Object, OpensslFree<Free>>;

}  // namespace zenta::signing
