// Replacing files atomically: how one file takes the place of another.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// Moves the file `new_path` over `target_path`, whether or not a file is there. The contents are
// synced to disk, then the file is renamed. So at every moment, even after a crash, the target is
// either the old file or the complete new one. (An empty folder at the target, which no rename can
// replace by a file, is removed first.)
//
// Returns 0 when the target is the new file and the name `new_path` is gone. That includes two
// names of one file; if both paths are the same name, it stays. Otherwise returns an errno value.
// When the new file cannot be opened, is a folder or cannot be synced, nothing has changed. When
// the rename fails (another file system, no permission), the target is unchanged and the new file
// is removed: it never stays behind.
[[nodiscard]] int replace_file(const char* new_path, const char* target_path) noexcept;

// The next contents of a file. They are written to a new file in the same folder. commit() moves it
// over the target; without commit() it is removed. It has the permissions of the file that it
// replaces, and its owner may always read and write it.
//
//   FileReplacement file(path);
//   if (file && write_all(file.fd(), bytes, n) == 0 && file.commit() == 0) ...
//
// If the target is a symbolic link, the file that it leads to is replaced and the link stays. A
// target that is no regular file, such as a device or a pipe, cannot be replaced and is written
// directly.
class FileReplacement {
 public:
  // Opens the new file. On failure the object is false, and error() has the errno value.
  explicit FileReplacement(const char* target) noexcept;
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  ~FileReplacement() { discard(); }

  explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] int fd() const noexcept { return fd_; }

  // Call once, when everything is written. Returns 0; or an errno value, with the target unchanged.
  [[nodiscard]] int commit() noexcept;

 private:
  using Path = Buffer<unsigned char>;

  int open(const char* target) noexcept;
  void discard() noexcept;

  int fd_ = -1;
  int error_ = 0;
  Path target_;
  Path fresh_;  // the new file; empty when the target itself is written
};

}  // namespace tstl::detail
