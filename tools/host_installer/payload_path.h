// The rules for paths, link targets and sizes in a package's payload. The installer and the tool
// that packs both apply them. They keep every entry of a payload below the folder into which it is
// unpacked. They are rules on text alone: no function here looks at a disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zenta::host_installer {

// Limits of one path, in bytes and in components. A Mac's are 255 (NAME_MAX), 1,024 (PATH_MAX) and
// none.
inline constexpr std::size_t kMaxNameBytes = 255;
inline constexpr std::size_t kMaxPathBytes = 1024;
inline constexpr std::size_t kMaxPathDepth = 64;

// Limits of one package, all payloads together: the number of entries, including folders that occur
// only in the paths of others, and the bytes when decompressed.
inline constexpr std::size_t kMaxEntries = 200'000;
inline constexpr std::uint64_t kMaxUnpackedBytes = std::uint64_t{16} << 30;

// Prefix of the names of the installer's own folders (staging.h). No component of a path in a
// package may have it: the next installation would take such a folder for one of its own.
inline constexpr std::string_view kStagingPrefix = ".zenta-installer-";

// The components of a path, in order, as views into `path`. Empty ones and "." are left out; ".."
// is kept.
[[nodiscard]] std::vector<std::string_view> PathComponents(std::string_view path);

// A payload entry's path as its components joined by '/'; "" for the payload's own root ("." or
// "./"). nullopt if it is absolute, has a ".." or a name with the prefix above, or is over a limit.
[[nodiscard]] std::optional<std::string> PayloadPath(std::string_view path);

// Whether the symbolic link at `path` (a PayloadPath) with this target stays below the payload's
// root, no matter what other links the payload holds. The rule: the target is relative, ".." occurs
// only at its start, and no more often than `path` has parent folders. It is enough because no
// entry's path leads through a link: each leading ".." leaves a real folder, and the rest only
// descends, through links that obey the same rule. REQUIRES: `path` is not "".
[[nodiscard]] bool LinkStaysInside(std::string_view path, std::string_view target);

// Whether a folder of this name is a bundle, which is replaced as a whole.
[[nodiscard]] bool NamesBundle(std::string_view name);

// `parent`/`name`, or `name` alone if there is no parent. REQUIRES: `name` is not empty.
[[nodiscard]] std::string JoinPath(std::string_view parent, std::string_view name);

}  // namespace zenta::host_installer
