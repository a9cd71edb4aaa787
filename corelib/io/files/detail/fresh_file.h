// A new file under an unused name, which temporary files and replacements start with.
#pragma once

#include <sys/types.h>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// Creates a hidden file, open for reading and writing. `folder` ends with a slash, or is empty for
// the working folder. Returns the descriptor, under the rules of open_file(), and the path in
// `path`; or -1 with errno set.
[[nodiscard]] int open_fresh_file(BufferRef<unsigned char> folder, mode_t mode,
                                  Buffer<unsigned char>& path) noexcept;

inline const char* c_path(const Buffer<unsigned char>& path) {
  return reinterpret_cast<const char*>(path.c_str());
}

}  // namespace tstl::detail
