// Any bytes as the binary form of a request and of a response; message_fuzz.h tells what holds.
#include "fuzz/cloud/message_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zenta::Bytes message(data, static_cast<unsigned>(size));
  zenta::fuzz::CheckBinary<zenta::CloudRequest>(message);
  zenta::fuzz::CheckBinary<zenta::CloudResponse>(message);
  return 0;
}
