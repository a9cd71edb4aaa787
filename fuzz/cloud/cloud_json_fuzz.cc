// Reads any bytes as the JSON form of a request or a response; the invariants are in
// message_fuzz.h.
#include "fuzz/cloud/message_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zenta::fuzz;
  CheckEither(data, size, CheckJson<CloudRequest>, CheckJson<CloudResponse>);
  return 0;
}
