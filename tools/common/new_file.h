// Files that are written completely or not at all.
//
// A NewFile is created by its constructor and removed by its destructor, unless Keep or ReplaceAs
// was called before. So an exception leaves no unfinished file, nor does a signal that ends the
// program (except SIGKILL). A NewFile never replaces a file that the program has read (inputs.h).
// Every member that fails throws Failure, with the name of the file that was to be made and not
// that of a hidden file beside it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tools/common/interruption.h"

namespace zenta::tools {

class NewFile {
 public:
  // Creates `path` for reading and writing with the permissions `mode` less the umask. Throws if
  // anything exists there, a link included.
  NewFile(const std::filesystem::path& path, mode_t mode);
  // Creates a file with a hidden, unused name in the folder of `target`. Throws if `target` is an
  // input, or exists and is not a regular file: ReplaceAs would replace a device.
  static NewFile Beside(const std::filesystem::path& target, mode_t mode);
  // Creates a file with an unused name in the folder for temporary files, to be copied elsewhere
  // when it is complete. Messages call it `shown`.
  static NewFile Temporary(std::string shown);
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&&) = delete;
  ~NewFile();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  // Its name in messages.
  [[nodiscard]] const std::string& shown() const { return shown_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // Appends.
  void Write(std::string_view bytes);
  // Returns when the contents are on disk.
  void Sync();
  // Writes the contents to an open descriptor.
  void CopyTo(int descriptor) const;
  // Keeps the file under its name. Cannot fail, so that several files can be kept together after
  // each was synced.
  void Keep() noexcept;
  // Flushes the contents to disk, then renames the file to `target` in one step, replacing a file
  // or link of that name. Throws if `target` is an input. On failure `target` is unchanged.
  // REQUIRES: neither Keep nor ReplaceAs was called.
  void ReplaceAs(const std::filesystem::path& target);

 private:
  // `shown`: the name in messages.
  NewFile(std::filesystem::path path, std::string shown, mode_t mode);

  std::filesystem::path path_;  // empty after a move, Keep or ReplaceAs: nothing to remove
  std::string shown_;
  int descriptor_ = -1;
  std::optional<RemovedBySignal> removed_by_signal_;  // of path_
};

}  // namespace zenta::tools
