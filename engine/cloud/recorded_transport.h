// RecordedTransport: a Transport that answers from files, for tests, examples and work without a
// network.
//
// A folder holds recorded exchanges, each in two files: `bin` for the binary form, `json` for JSON.
//
//   NAME.request.bin   NAME.response.bin
//   NAME.request.json  NAME.response.json
//
// A request is answered by the recording whose request file has exactly the same bytes; if there
// are several, by the first in the byte order of their names. Nothing is kept in memory: the folder
// is searched at each exchange, so that new recordings take effect at once. Only regular files
// count.
#pragma once

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"
#include "engine/cloud/transport.h"

namespace zenta::cloud {

class RecordedTransport final : public Transport {
 public:
  // Longer responses are a kBadAnswer.
  static constexpr unsigned kMaxResponse = 16U << 20;

  // Answers from the folder with this path, which is copied and opened at each exchange. An empty
  // path means the working folder.
  explicit RecordedTransport(tstl::BufferRef<unsigned char> folder) noexcept;

  // kUnreachable: the folder is missing or cannot be listed. kNoAnswer: no recording matches.
  // kBadAnswer: the matching recording has no response, or it cannot be read or is longer than
  // kMaxResponse.
  [[nodiscard]] ExchangeFault Exchange(CloudEncoding encoding,
                                       tstl::BufferRef<unsigned char> request,
                                       tstl::Buffer<unsigned char>& response) noexcept override;

 private:
  tstl::Buffer<unsigned char> folder_;  // with a slash at its end
};

}  // namespace zenta::cloud
