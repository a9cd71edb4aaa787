// Asks the cloud service for candidates and prints them. The service is a folder of recorded
// exchanges here; a program of yours brings its own zenta::cloud::Transport.
//
//   cloud_exchange        in the binary form
//   cloud_exchange json   in JSON
#include <cstdio>
#include <string_view>

#include "corelib/containers/chunk.h"
#include "engine/cloud/exchange.h"
#include "engine/cloud/recorded_transport.h"

#if !defined(ZENTA_RECORDINGS)  // compiled by hand: relative to the folder that has examples/
#define ZENTA_RECORDINGS "examples/recorded"
#endif

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

  tstl::Chunk arena;          // everything that the response points to
  arena.set_limit(1U << 20);  // and no more than 1 MiB, whatever the service sends
  zenta::cloud::CloudResponse response;
  zenta::cloud::RecordedTransport service(ZENTA_RECORDINGS);
  const auto encoding =
      json ? zenta::cloud::CloudEncoding::kJson : zenta::cloud::CloudEncoding::kBinary;
  const auto result = Ask(service, encoding, request, response, arena);
  if (!result) {
    std::fprintf(stderr, "cloud_exchange: %s: %s\n", result.step(), result.reason);
    return 1;
  }
  for (const zenta::cloud::CandItem& candidate : response.cand_list) {
    const tstl::Buffer<unsigned char> text(candidate.unis);  // as UTF-8
    std::printf("%u\t%s\n", candidate.freq, reinterpret_cast<const char*>(text.c_str()));
  }
}
