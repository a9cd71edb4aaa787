// Temporary files without a name: nobody else opens them, and they are gone with their descriptor,
// also when the process is killed.
#pragma once

namespace tstl::detail {

// Opens an empty file in `folder` to read and write, for the owner only. Where the file system cannot
// make one without a name, the name is removed at once. Returns the descriptor, under the rules of
// open_file(); or -1 with errno set.
[[nodiscard]] int open_unnamed_file(const char* folder) noexcept;

}  // namespace tstl::detail
