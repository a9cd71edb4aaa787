// Owners of OpenSSL's objects: Owned<BIGNUM, BN_free> frees its object when it goes.
//
// Only for sources that link OpenSSL; no public header includes it.
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
