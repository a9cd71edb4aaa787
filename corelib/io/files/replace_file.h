// Files that change in one step: the one rule by which a file takes another's place.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "corelib/text/buffer.h"

namespace tstl::detail {

// Puts the file `new_path` in the place of `target_path`, whether that is there or not. The contents
// are brought to disk, then the name changes in one step: at every moment, a crash's included, the
// target is the old file or the whole new one. (An empty folder, which no file can be put over in
// one step, is removed before.)
//
// 0 when the target is the new file, and its other name is gone. That holds for two names of one file,
// too; one name given twice stays. Otherwise an errno value. With nothing changed when the new file
// cannot be opened, is a folder, or cannot be brought to disk. With the target as it was and the new
// file removed when the step is impossible (another file system, no permission): it never stays behind.
[[nodiscard]] int replace_file(const char* new_path, const char* target_path) noexcept;

// The next contents of a file. They are written to a new file in the same folder, which takes the
// target's place with commit() and is removed without it. It has the permissions of the file that it
// replaces, and its owner may always read and write it.
//
//   FileReplacement file(path);
//   if (file && write_all(file.fd(), bytes, n) == 0 && file.commit() == 0) ...
//
// A target that is a symbolic link stays one: the file that it leads to is replaced. What is no regular
// file, like a device or a pipe, has no contents to be replaced and is written itself.
class FileReplacement {
 public:
  // Opens the new file. When that fails the object is false and error() tells why.
  explicit FileReplacement(const char* target) noexcept;
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  ~FileReplacement() { discard(); }

  explicit operator bool() const noexcept { return fd_ >= 0; }
  [[nodiscard]] int error() const noexcept { return error_; }
  [[nodiscard]] int fd() const noexcept { return fd_; }

  // To be called once, when all is written. 0; or an errno value, with the target as it was.
  [[nodiscard]] int commit() noexcept;

 private:
  using Path = Buffer<unsigned char>;

  int open(const char* target) noexcept;
  void discard() noexcept;

  int fd_ = -1;
  int error_ = 0;
  Path target_;
  Path fresh_;  // empty when the target itself is written
};

}  // namespace tstl::detail
