// Any bytes as the binary form of a request and of a response; message_fuzz.h tells what holds.
#include "fuzz/cloud/message_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zenta::records::Bytes message(data, static_cast<unsigned>(size));
  zenta::fuzz::CheckBinary<zenta::cloud::CloudRequest>(message);
  zenta::fuzz::CheckBinary<zenta::cloud::CloudResponse>(message);
  return 0;
}
