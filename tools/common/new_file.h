// Files that either come into being whole or not at all.
//
// A NewFile exists on disk from its constructor on and is removed again by its destructor, unless
// Keep or ReplaceAs was reached: whatever throws in between leaves nothing half done behind, and
// neither does a signal that ends the program. (Only SIGKILL leaves the file.) No NewFile takes the
// place of a file that the program has read (inputs.h). Every member that fails throws Failure,
// naming the file that is meant to come into being, and never a hidden one beside it.
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
  // Creates `path` for reading and writing with `mode`, less the umask, from the start. Never opens
  // or follows what is already there.
  NewFile(const std::filesystem::path& path, mode_t mode);
  // A file of a hidden, unused name in the folder of `target`. Throws when `target` is an input, or
  // is no regular file, a device say, which ReplaceAs would put an end to.
  static NewFile Beside(const std::filesystem::path& target, mode_t mode);
  // A file of an unused name in the folder for temporary files, for what is copied to somewhere else
  // when it is whole; messages call it `shown`.
  static NewFile Temporary(std::string shown);
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&&) = delete;
  ~NewFile();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  // What messages call it.
  [[nodiscard]] const std::string& shown() const { return shown_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // Appends.
  void Write(std::string_view bytes);
  // Returns when the contents are on disk.
  void Sync();
  // Writes the contents to an open descriptor.
  void CopyTo(int descriptor) const;
  // The file stays, under its name. Cannot fail, so that several files can be kept together after
  // each was synced.
  void Keep() noexcept;
  // The contents are on disk, then the file takes the name `target`, replacing a file or link that
  // had it, in one step. On failure `target` is as it was, and so it is if it is an input.
  // REQUIRES: neither kept nor renamed yet.
  void ReplaceAs(const std::filesystem::path& target);

 private:
  // `shown`: the name in messages.
  NewFile(std::filesystem::path path, std::string shown, mode_t mode);

  std::filesystem::path path_;  // empty: moved from, kept or renamed; nothing to remove
  std::string shown_;
  int descriptor_ = -1;
  std::optional<RemovedBySignal> removed_by_signal_;  // of path_
};

}  // namespace zenta::tools
