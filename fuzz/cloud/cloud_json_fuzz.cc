// Any bytes as the JSON form of a request and of a response; message_fuzz.h tells what holds.
#include "fuzz/cloud/message_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const zenta::records::Bytes text(data, static_cast<unsigned>(size));
  zenta::fuzz::CheckJson<zenta::cloud::CloudRequest>(text);
  zenta::fuzz::CheckJson<zenta::cloud::CloudResponse>(text);
  return 0;
}
