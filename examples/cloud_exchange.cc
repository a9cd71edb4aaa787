// Asks the cloud service for candidates and prints them. The service is a folder of recorded
// exchanges here; a program of yours brings its own zenta::cloud::Transport.
//
//   cloud_exchange        in the binary form
//   cloud_exchange json   in JSON
#include <cstdio>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"
#include "engine/cloud/cloud_response.h"
#include "engine/cloud/recorded_transport.h"

namespace {

int Fail(const char* step, const char* reason) {
  std::fprintf(stderr, "cloud_exchange: %s: %s\n", step, reason);
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool json = argc > 1 && std::string_view(argv[1]) == "json";

  zenta::cloud::CloudRequest request;
  request.req.req_type = 1;
  request.req.word_num = 5;
  request.ipt.input = "nihao";
  zenta::cloud::SugLog picked;
  picked.sug_word = u"你好";
  picked.input_inline = u"nihao";
  request.attach.suglogs = {&picked, 1};

  tstl::Buffer<unsigned char> message;
  if (!(json ? write_json(request, message) : write_binary(request, message))) {
    return Fail("the request", "no memory");
  }

  zenta::cloud::RecordedTransport service(ZENTA_RECORDINGS);
  const auto encoding =
      json ? zenta::cloud::CloudEncoding::kJson : zenta::cloud::CloudEncoding::kBinary;
  tstl::Buffer<unsigned char> answer;
  const zenta::cloud::ExchangeFault fault = service.Exchange(encoding, message, answer);
  if (fault != zenta::cloud::ExchangeFault::kNone)
    return Fail("the exchange", ExchangeFaultText(fault));

  tstl::Chunk arena;  // everything that the response points to
  zenta::cloud::CloudResponse response;
  if (json) {
    const auto read = read_json(response, answer, arena);
    if (!read) return Fail("the response", read.text());
  } else {
    const auto read = read_binary(response, answer, arena);
    if (!read) return Fail("the response", read.text());
  }
  for (const zenta::cloud::CandItem& candidate : response.cand_list) {
    const tstl::Buffer<unsigned char> text(candidate.unis);  // as UTF-8
    std::printf("%u\t%s\n", candidate.freq, reinterpret_cast<const char*>(text.c_str()));
  }
}
