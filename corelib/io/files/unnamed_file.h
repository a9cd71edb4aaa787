// Temporary files without a name: nobody else can open them, and they vanish with their descriptor,
// even when the process is killed.
#pragma once

namespace tstl::detail {

// Opens an empty file in `folder` for reading and writing by the owner only. Where the file system
// cannot create files without a name, the name is removed at once. Returns the descriptor, under
// the rules of open_file(); or -1 with errno set.
[[nodiscard]] int open_unnamed_file(const char* folder) noexcept;

}  // namespace tstl::detail
