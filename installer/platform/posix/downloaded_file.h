// Downloaded files and the lock of their folder, for backends with POSIX files. All paths are those
// of the host.
#pragma once

#include <memory>
#include <string>

#include "installer/platform.h"

namespace zenta::installer {

// The paths of a download. All three are absolute, without a slash at the end.
struct DownloadPath {
  std::string root;    // the folder that stands for "/"; "" if it is "/"
  std::string named;   // the download's own path, which may be that of a link
  std::string target;  // the same with all links resolved
};

// Opens the file at `path.target`. Null if it is not a regular file or cannot be opened.
[[nodiscard]] std::unique_ptr<DownloadedFile> OpenDownload(DownloadPath path);

// Files::LockFolderOf for a folder of the host. Uses flock(2) on the folder itself, so that no lock
// file is left behind.
[[nodiscard]] std::unique_ptr<Lock> LockFolder(const std::string& folder);

}  // namespace zenta::installer
