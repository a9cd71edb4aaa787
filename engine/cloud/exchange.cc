#include "engine/cloud/exchange.h"

#include "corelib/text/buffer.h"

namespace zenta::cloud {
namespace {

using tstl::Buffer;
using Failed = ExchangeResult::Failed;

template <class Read>
ExchangeResult ResultOf(const Read& read) {
  if (read) return {};
  return {.failed = Failed::kResponse, .reason = read.text(), .position = read.position};
}

}  // namespace

const char* ExchangeResult::step() const noexcept {
  constexpr const char* kSteps[] = {"nothing", "the request", "the exchange", "the response"};
  return kSteps[static_cast<unsigned>(failed)];
}

ExchangeResult Ask(Transport& service, CloudEncoding encoding, const CloudRequest& request,
                   CloudResponse& response, tstl::Chunk& arena) {
  response = CloudResponse();
  const bool json = encoding == CloudEncoding::kJson;
  Buffer<unsigned char> message, answer;
  if (!(json ? write_json(request, message) : write_binary(request, message))) {
    return {.failed = Failed::kRequest, .reason = "too long, or no memory"};
  }
  const ExchangeFault fault = service.Exchange(encoding, message, answer);
  if (fault != ExchangeFault::kNone) {
    return {.failed = Failed::kTransport, .reason = ExchangeFaultText(fault)};
  }
  const std::uint64_t limit = arena.limit();
  if (limit == tstl::Chunk::kNoLimit) arena.set_limit(kMaxResponseMemory);
  const ExchangeResult result = json ? ResultOf(read_json(response, answer, arena))
                                     : ResultOf(read_binary(response, answer, arena));
  arena.set_limit(limit);
  return result;
}

}  // namespace zenta::cloud
