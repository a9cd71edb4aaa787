// A file's bytes, read whole or up to a limit.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// How a file that is longer than the limit is treated.
enum class IfLonger { kRefuse, kCut };

// Replaces `bytes` by the contents of a regular file of at most `limit` bytes; with kCut, by the
// first `limit` bytes of a longer one. False, with `bytes` empty, when the path is null, the file
// cannot be opened or read, is not regular (a pipe or a device may never end) or too long, or when
// a buffer cannot hold it. Never waits, and reads nothing of a file that it refuses. If the file
// shrinks meanwhile, the result is what could be read.
bool read_file(const char* path, Buffer<unsigned char>& bytes, std::uint64_t limit = UINT64_MAX,
               IfLonger if_longer = IfLonger::kRefuse);

// The size in bytes of the open file. False when it is no regular file.
bool regular_file_size(int fd, std::uint64_t& size);

}  // namespace tstl::detail
