#include "engine/cloud/recorded_transport.h"

#include <dirent.h>

#include <cstdint>

#include "corelib/io/files/read_file.h"

namespace zenta::cloud {
namespace {

using tstl::Buffer;
using tstl::BufferRef;
using Bytes = BufferRef<unsigned char>;

// The suffixes of the two files' names.
struct Endings {
  const char* request;
  const char* response;
};
constexpr Endings kEndings[] = {{".request.bin", ".response.bin"},
                                {".request.json", ".response.json"}};

// Reads the file if it is regular and has at most `most` bytes.
bool ReadFile(const Buffer<unsigned char>& path, std::uint64_t most, Buffer<unsigned char>& bytes) {
  return !path.is_empty() &&
         tstl::detail::read_file(reinterpret_cast<const char*>(path.c_str()), bytes, most);
}

// Concatenates. Empty when an allocation fails, never a part: that would be the path of another
// file.
Buffer<unsigned char> Join(Bytes a, Bytes b, Bytes c = {}) {
  Buffer<unsigned char> text;
  if (text.recapacity(std::uint64_t{a.len()} + b.len() + c.len())) {
    text.append_str(a).append_str(b).append_str(c);
  }
  return text;
}

// The name, without its suffix, of the first recording of `request`; empty when there is none.
Buffer<unsigned char> FindRecording(DIR* folder, Bytes folder_path, Bytes ending, Bytes request) {
  Buffer<unsigned char> found, bytes;
  while (const dirent* const entry = ::readdir(folder)) {
    const Bytes file(entry->d_name);
    if (!file.is_endwith(ending) || file.len() == ending.len()) continue;
    const Bytes name = file.sub_head_rev(ending.len());
    if (found && !found.is_greater(name)) continue;
    // Other files are read only up to the length of the request.
    if (ReadFile(Join(folder_path, file), request.len(), bytes) && bytes.is_equal(request)) {
      found = name;
    }
  }
  return found;
}

}  // namespace

RecordedTransport::RecordedTransport(Bytes folder) noexcept
    : folder_(Join(folder ? folder : Bytes("."), "/")) {}

ExchangeFault RecordedTransport::Exchange(CloudEncoding encoding, Bytes request,
                                          Buffer<unsigned char>& response) noexcept {
  response.clear();
  const Endings& endings = kEndings[static_cast<unsigned>(encoding)];
  DIR* const folder = folder_ ? ::opendir(reinterpret_cast<const char*>(folder_.c_str())) : nullptr;
  if (folder == nullptr) return ExchangeFault::kUnreachable;
  const Buffer<unsigned char> name = FindRecording(folder, folder_, endings.request, request);
  ::closedir(folder);
  if (name.is_empty()) return ExchangeFault::kNoAnswer;
  return ReadFile(Join(folder_, name, endings.response), kMaxResponse, response)
             ? ExchangeFault::kNone
             : ExchangeFault::kBadAnswer;
}

}  // namespace zenta::cloud
