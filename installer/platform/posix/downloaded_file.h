// Downloaded files and their folder's lock, for every backend that has POSIX files: its paths are
// already those of the host.
#pragma once

#include <memory>
#include <string>

#include "installer/platform.h"

namespace zenta::installer {

// Where a download lies. All three are absolute, without a slash at the end.
struct DownloadPath {
  std::string root;    // the folder that stands for "/"; "" if it is "/"
  std::string named;   // the name in its folder, which may be that of a link
  std::string target;  // where that leads, all links resolved
};

// The file at `path.target`, if it is a regular file that can be read; else null.
[[nodiscard]] std::unique_ptr<DownloadedFile> OpenDownload(DownloadPath path);

// Files::LockFolderOf for a folder of the host: an flock(2) on the folder itself, so that no lock file
// is left behind.
[[nodiscard]] std::unique_ptr<Lock> LockFolder(const std::string& folder);

}  // namespace zenta::installer
