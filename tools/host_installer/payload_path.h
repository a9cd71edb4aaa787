// Which paths and link targets a package's payload may name, and how much it may hold: the installer
// keeps to these rules, and so does whoever packs. Pure text rules: nothing here looks at a disk. They
// are what keeps every entry of a payload below the folder that it is unpacked into.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zenta::host_installer {

// Limits of one path, in bytes and in components. A Mac's own are 255, 1,024 and none.
inline constexpr std::size_t kMaxNameBytes = 255;
inline constexpr std::size_t kMaxPathBytes = 1024;
inline constexpr std::size_t kMaxPathDepth = 64;

// Limits of one package, all payloads together: entries, with the folders that stand only in the
// paths of others, and bytes when decompressed.
inline constexpr std::size_t kMaxEntries = 200'000;
inline constexpr std::uint64_t kMaxUnpackedBytes = std::uint64_t{16} << 30;

// What the names of the installer's own folders begin with; staging.h says what they are for. No
// path of a package may have such a name in it: the next installation would take it for its own.
inline constexpr std::string_view kStagingPrefix = ".zenta-installer-";

// The components of a path, in order; empty ones and "." are left out, ".." is kept. They point
// into `path`.
[[nodiscard]] std::vector<std::string_view> PathComponents(std::string_view path);

// A payload entry's path as its components joined by '/'; "" for the payload's own root ("." or
// "./"). nullopt if it is absolute, has a ".." or a name with the prefix above, or is over a limit.
[[nodiscard]] std::optional<std::string> PayloadPath(std::string_view path);

// Whether the symbolic link at `path` (a PayloadPath) with this target can only lead to something
// below the payload's root, whatever other links the payload holds. The rule: the target is
// relative, and ".." stands only at its front, no more often than `path` has folders. The entries
// themselves never lie behind a link, so the leading ".." climb real folders, and what follows only
// goes down, through links of which the same holds. REQUIRES: `path` is not "".
[[nodiscard]] bool LinkStaysInside(std::string_view path, std::string_view target);

// Whether a folder of this name is one thing to its users, and so is replaced as a whole.
[[nodiscard]] bool NamesBundle(std::string_view name);

// `parent`/`name`, or `name` alone if there is no parent. REQUIRES: `name` is not empty.
[[nodiscard]] std::string JoinPath(std::string_view parent, std::string_view name);

}  // namespace zenta::host_installer
