// A file's bytes, read whole or up to a limit.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// What becomes of a file that is longer than the limit.
enum class IfLonger { kRefuse, kCut };

// Replaces `bytes` by the contents of a regular file of at most `limit` bytes; with kCut, by the first
// `limit` bytes of a longer one. False, and `bytes` empty, when the path is null, or the file cannot be
// opened or read, is no regular file (a pipe or a device may never end), is too long, or when a buffer
// cannot hold that much. Never waits, and reads nothing of a file that it refuses. A file that shrinks
// meanwhile gives what is left of it.
bool read_file(const char* path, Buffer<unsigned char>& bytes, std::uint64_t limit = UINT64_MAX,
               IfLonger if_longer = IfLonger::kRefuse);

// The size in bytes of the open file. False when it is no regular file.
bool regular_file_size(int fd, std::uint64_t& size);

}  // namespace tstl::detail
