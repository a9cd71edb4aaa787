// Fills the lists of a request from vectors and prints the request as JSON.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "corelib/containers/chunk.h"
#include "corelib/text/buffer.h"
#include "engine/cloud/cloud_request.h"

using zenta::cloud::CloudRequest;
using zenta::cloud::SugLog;
using zenta::records::List;

// A List is a pointer and a count, so it can refer to the elements of a vector. The vector must
// outlive the record and must not grow meanwhile.
template <class T>
List<T> list_of(std::vector<T>& elements) {
  return {elements.data(), static_cast<std::uint32_t>(elements.size())};
}

int main() {
  std::vector<SugLog> picked(2);
  picked[0].sug_word = u"你好";
  picked[1].sug_word = u"世界";

  CloudRequest request;
  request.ipt.input = "nihao";
  request.attach.suglogs = list_of(picked);

  // A list can grow, too. It first copies its elements to an arena; those of the vector do not
  // change.
  tstl::Chunk arena;
  SugLog* const another = request.attach.suglogs.append(arena);
  if (another == nullptr) return 1;  // out of memory
  another->click_type = 2;

  tstl::Buffer<unsigned char> json;
  if (!write_json(request, json)) return 1;
  std::printf("%s\n", reinterpret_cast<const char*>(json.c_str()));
}
