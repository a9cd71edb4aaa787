// Replaces a file atomically: at every moment, also after a crash, its name refers to the whole old
// or the whole new contents. The new contents are written to a file beside it, flushed to disk, and
// renamed.
//
// Results are 0, or the errno value of the call that failed.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string_view>

namespace zenta::signing {

// A hidden random name in the folder of `target`. Most likely no file has it; open it with O_EXCL.
[[nodiscard]] std::filesystem::path FreshNameBeside(const std::filesystem::path& target);

// Writes all bytes to a descriptor.
[[nodiscard]] int WriteBytes(int descriptor, std::string_view bytes);

// The last steps: flushes the file `fresh`, open as `descriptor`, renames it to `target`, replacing
// a file or link of that name, and makes the new name durable. On failure `target` is unchanged and
// `fresh` still exists. REQUIRES: both are in one folder.
[[nodiscard]] int MoveInto(const std::filesystem::path& target, const std::filesystem::path& fresh,
                           int descriptor);

// All steps: `target` becomes a file of these bytes, with the permissions `mode` less the umask. On
// failure `target` is unchanged and no new file is left beside it.
[[nodiscard]] int ReplaceContents(const std::filesystem::path& target, std::string_view bytes,
                                  mode_t mode);

// Makes the names in a folder durable. Errors are ignored, because some file systems cannot.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace zenta::signing
