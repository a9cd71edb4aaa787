// Replacing a file so that its name stands for the whole old or the whole new contents at every
// moment, a crash's included: the new ones are written beside it, brought to disk, and take the name
// in one step.
//
// Results are 0, or the errno value of what failed.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string_view>

namespace zenta::signing {

// A hidden name that is most likely unused, in the folder of `target`.
[[nodiscard]] std::filesystem::path FreshNameBeside(const std::filesystem::path& target);

// Writes all bytes to a descriptor.
[[nodiscard]] int WriteBytes(int descriptor, std::string_view bytes);

// The last steps: brings the open file `fresh` to disk, gives it the name `target`, replacing a file or
// link that had it, and makes the new name durable. On failure `target` is as it was and `fresh` still
// there. REQUIRES: both are in one folder.
[[nodiscard]] int MoveInto(const std::filesystem::path& target, const std::filesystem::path& fresh,
                           int descriptor);

// All of it: `target` becomes a file of these bytes, with `mode` less the umask. On failure `target` is
// as it was and nothing lies beside it.
[[nodiscard]] int ReplaceContents(const std::filesystem::path& target, std::string_view bytes,
                                  mode_t mode);

// Makes the names in a folder durable. Best effort: some file systems cannot.
void SyncFolder(const std::filesystem::path& folder);

}  // namespace zenta::signing
