// A file's bytes, read whole.
#pragma once

#include "corelib/text/buffer.h"

namespace tstl::detail {

// Replaces `bytes` by the contents of a regular file. False, and `bytes` empty, when it cannot be
// opened, is no regular file (a pipe or a device may never end), does not fit into a buffer, or
// cannot be read. A file that shrinks meanwhile gives what is left of it.
bool read_file(const char* path, Buffer<unsigned char>& bytes);

}  // namespace tstl::detail
