// Transport: how a request reaches the cloud service and its response comes back. exchange.h has the
// whole way from record to record.
//
// The messages know nothing of the way they take: whoever embeds the engine brings a Transport of
// its own. An exchange is bytes for bytes; what is in them is the business of cloud_request.h and
// cloud_response.h, and whether they can be decoded is found out there. Nothing is thrown: what
// went wrong is the result.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace zenta::cloud {

// The two forms of every message. The response has the form of the request.
enum class CloudEncoding : std::uint8_t { kBinary, kJson };

enum class ExchangeFault : std::uint8_t {
  kNone,
  kUnreachable,  // the service, or what stands for it, cannot be reached
  kNoAnswer,     // it was reached, and has no answer to this request
  kBadAnswer,    // its answer could not be had whole, or is longer than the transport takes
};

// The fault in words, for people: a zero-terminated text that lives for ever.
[[nodiscard]] constexpr const char* ExchangeFaultText(ExchangeFault fault) noexcept {
  constexpr const char* kTexts[] = {"no fault", "the service cannot be reached",
                                    "the service has no answer to this request",
                                    "the answer is broken off or too long"};
  return kTexts[static_cast<unsigned>(fault)];
}

class Transport {
 public:
  virtual ~Transport() = default;

  // Sends `request` and waits for what comes back, which replaces the contents of `response`; after
  // a fault it is empty. How long it may be, and how long to wait, is the transport's to bound.
  // REQUIRES: `request` is not in the memory of `response`.
  [[nodiscard]] virtual ExchangeFault Exchange(CloudEncoding encoding,
                                               tstl::BufferRef<unsigned char> request,
                                               tstl::Buffer<unsigned char>& response) = 0;
};

}  // namespace zenta::cloud
