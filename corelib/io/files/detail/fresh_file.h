// A new file under a name that nobody has: what temporary files and replacements begin as.
#pragma once

#include <sys/types.h>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// Creates a hidden file to read and write. `folder` ends with a slash, or is empty for the working
// folder. Returns its descriptor, under the rules of open_file(), and its name in `path`; or -1 with
// errno set.
[[nodiscard]] int open_fresh_file(BufferRef<unsigned char> folder, mode_t mode,
                                  Buffer<unsigned char>& path) noexcept;

inline const char* c_path(const Buffer<unsigned char>& path) {
  return reinterpret_cast<const char*>(path.c_str());
}

}  // namespace tstl::detail
