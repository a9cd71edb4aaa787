// RecordedTransport: a Transport that answers from files, for tests, examples and work without a
// network.
//
// A folder holds exchanges, each of them two files, `bin` for the binary form and `json` for JSON:
//
//   NAME.request.bin   NAME.response.bin
//   NAME.request.json  NAME.response.json
//
// A request is answered by the recording whose request file has the very same bytes; of several the
// one whose name comes first, byte for byte. Nothing is kept in memory: the folder is searched at
// each exchange, so what is put there counts at once. Only regular files count.
#pragma once

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "engine/cloud/transport.h"

namespace zenta::cloud {

class RecordedTransport final : public Transport {
 public:
  // Longer responses are a kBadAnswer.
  static constexpr unsigned kMaxResponse = 16U << 20;

  // Answers from the folder of this path, which is copied and looked for at each exchange. An empty
  // one is the folder that the process is in.
  explicit RecordedTransport(tstl::BufferRef<unsigned char> folder) noexcept;

  // kUnreachable: there is no such folder, or it cannot be listed. kNoAnswer: nothing matches.
  // kBadAnswer: there is no response to the request that matches, or it cannot be read, or it is
  // longer than kMaxResponse.
  [[nodiscard]] ExchangeFault Exchange(CloudEncoding encoding,
                                       tstl::BufferRef<unsigned char> request,
                                       tstl::Buffer<unsigned char>& response) noexcept override;

 private:
  tstl::Buffer<unsigned char> folder_;  // with a slash at its end
};

}  // namespace zenta::cloud
