// A whole exchange with the cloud service: a request is sent in either form, and the response comes
// back as a record.
//
//   tstl::Chunk arena;
//   CloudResponse response;
//   const ExchangeResult result = Ask(service, CloudEncoding::kBinary, request, response, arena);
//   if (!result) log(result.step(), result.reason);  // see also result.position
#pragma once

#include <cstdint>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "engine/cloud/transport.h"

namespace zenta::cloud {

// The limit in bytes of the arena's memory while a response is read, if the arena has no limit of
// its own. A short response of many empty records takes up to 256 times its length.
inline constexpr std::uint64_t kMaxResponseMemory = 64U << 20;

// The result of an exchange: true when the response was read completely.
struct ExchangeResult {
  enum class Failed : std::uint8_t { kNothing, kRequest, kTransport, kResponse };
  Failed failed = Failed::kNothing;
  const char* reason = "no fault";  // for people; zero-terminated, in static storage
  std::uint32_t position = 0;       // the offset of a fault in the response

  explicit operator bool() const noexcept { return failed == Failed::kNothing; }
  // What failed; a text like `reason`.
  [[nodiscard]] const char* step() const noexcept;
};

// Sends `request`, and reads the answer into `response`, whose contents it replaces. All of it lies
// in `arena`, which is not emptied first. When the response is malformed or exceeds the arena's
// limit, `response` holds what was good of it; after other failures it is empty.
[[nodiscard]] ExchangeResult Ask(Transport& service, CloudEncoding encoding,
                                 const CloudRequest& request, CloudResponse& response,
                                 tstl::Chunk& arena);

}  // namespace zenta::cloud
