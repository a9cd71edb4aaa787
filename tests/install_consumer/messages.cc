// A cloud request through both forms, by the installed engine alone.
#include <cstdio>

#include "corelib/containers/chunk.h"
#include "engine/cloud/cloud_request.h"

int main() {
  zenta::cloud::CloudRequest request, read;
  request.ipt.input = "nihao";
  tstl::Buffer<unsigned char> message, text;
  tstl::Chunk arena;
  const bool good = write_binary(request, message) && read_binary(read, message, arena) &&
                    write_json(read, text) &&
                    text.find_str("\"input\":\"nihao\"") != tstl::NOT_FOUND;
  std::printf("%s\n", good ? "messages: works" : "messages: wrong");
  return good ? 0 : 1;
}
