// A whole exchange with the cloud service: a request goes out in either form and the response comes
// back as a record.
//
//   tstl::Chunk arena;
//   CloudResponse response;
//   const ExchangeResult result = Ask(service, CloudEncoding::kBinary, request, response, arena);
//   if (!result) log(result.step(), result.reason);
#pragma once

#include <cstdint>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "engine/cloud/transport.h"

namespace zenta::cloud {

// The most bytes that an arena may have after a response was read into it, where the arena has no
// limit of its own. A short response of many empty records asks for 256 times its length.
inline constexpr std::uint64_t kMaxResponseMemory = 64U << 20;

// What became of an exchange: true when the response was read whole.
struct ExchangeResult {
  enum class Failed : std::uint8_t { kNothing, kRequest, kTransport, kResponse };
  Failed failed = Failed::kNothing;
  const char* reason = "no fault";  // in words; a zero-terminated text that lives for ever
  std::uint32_t position = 0;       // of a fault in the response: its offset there

  explicit operator bool() const noexcept { return failed == Failed::kNothing; }
  // What failed, in words like `reason`.
  [[nodiscard]] const char* step() const noexcept;
};

// Sends `request` and reads the answer in place of what `response` holds. All of it lies in `arena`,
// which is not emptied before. When the response is broken or takes more memory than the arena may
// have, `response` holds what was good of it; after other failures it is empty.
[[nodiscard]] ExchangeResult Ask(Transport& service, CloudEncoding encoding,
                                 const CloudRequest& request, CloudResponse& response,
                                 tstl::Chunk& arena);

}  // namespace zenta::cloud
