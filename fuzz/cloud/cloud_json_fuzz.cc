// Any bytes as the JSON form of a request or a response; message_fuzz.h tells what holds.
#include "fuzz/cloud/message_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zenta::fuzz;
  CheckEither(data, size, CheckJson<CloudRequest>, CheckJson<CloudResponse>);
  return 0;
}
