// Transport: how a request reaches the cloud service and its response comes back. exchange.h makes
// a whole exchange, from record to record.
//
// The messages do not depend on how they are sent: a program that embeds the engine provides its
// own Transport. A transport exchanges bytes only; cloud_request.h and cloud_response.h encode and
// decode them. It throws nothing and returns what went wrong.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace zenta::cloud {

// The two forms of every message. The response has the form of the request.
enum class CloudEncoding : std::uint8_t { kBinary, kJson };

enum class ExchangeFault : std::uint8_t {
  kNone,
  kUnreachable,  // the service, or its substitute, cannot be reached
  kNoAnswer,     // it was reached, and has no answer to this request
  kBadAnswer,    // its answer is incomplete, or longer than the transport accepts
};

// A description of the fault for people: zero-terminated, with static storage.
[[nodiscard]] constexpr const char* ExchangeFaultText(ExchangeFault fault) noexcept {
  constexpr const char* kTexts[] = {"no fault", "the service cannot be reached",
                                    "the service has no answer to this request",
                                    "the answer is broken off or too long"};
  return kTexts[static_cast<unsigned>(fault)];
}

class Transport {
 public:
  virtual ~Transport() = default;

  // Sends `request`, waits for the response and stores it in `response`, whose contents it
  // replaces; after a fault `response` is empty. The transport bounds the length of the response
  // and the waiting time. REQUIRES: `request` is not in the memory of `response`.
  [[nodiscard]] virtual ExchangeFault Exchange(CloudEncoding encoding,
                                               tstl::BufferRef<unsigned char> request,
                                               tstl::Buffer<unsigned char>& response) = 0;
};

}  // namespace zenta::cloud
