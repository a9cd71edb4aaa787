// Files that either come into being whole or not at all.
//
// A NewFile exists on disk from its constructor on and is removed again by its destructor, unless
// Keep or ReplaceAs was reached: whatever throws in between leaves nothing half done behind. (A
// program that is killed in between leaves the file.) Every member that fails throws Failure,
// naming the file.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <initializer_list>
#include <string_view>

namespace zenta::tools {

class NewFile {
 public:
  // Creates `path` for reading and writing with `mode`, less the umask, from the start. Never opens
  // or follows what is already there.
  NewFile(std::filesystem::path path, mode_t mode);
  // A file of a hidden, unused name in the folder of `target`. Throws when something stands there
  // that is no regular file, a device say, which ReplaceAs would put an end to.
  static NewFile Beside(const std::filesystem::path& target, mode_t mode);
  NewFile(NewFile&& other) noexcept;
  NewFile& operator=(NewFile&&) = delete;
  ~NewFile();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

  // Appends.
  void Write(std::string_view bytes);
  // Returns when the contents are on disk.
  void Sync();
  // The file stays, under its name. Cannot fail, so that several files can be kept together after
  // each was synced.
  void Keep() noexcept { path_.clear(); }
  // The contents are on disk, then the file takes the name `target`, replacing a file or link that
  // had it, in one step. On failure `target` is as it was.
  // REQUIRES: neither kept nor renamed yet.
  void ReplaceAs(const std::filesystem::path& target);

 private:
  std::filesystem::path path_;  // empty: moved from, kept or renamed; nothing to remove
  int descriptor_ = -1;
};

// A slip of the hand must not cost an input: throws Failure when `out` is the same file as one of
// them, through links too.
void RefuseInputs(const std::filesystem::path& out,
                  std::initializer_list<std::filesystem::path> inputs);

}  // namespace zenta::tools
