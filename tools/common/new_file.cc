#include "tools/common/new_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cassert>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::tools {
namespace {

namespace fs = std::filesystem;

fs::path FolderOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : ".";
}

}  // namespace

// If this throws, the destructor does not run: a file that was there before is not removed.
NewFile::NewFile(fs::path path, mode_t mode) : path_(std::move(path)) {
  descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor_ < 0) throw SystemFailure("cannot create " + path_.string());
}

NewFile NewFile::Beside(const fs::path& target, mode_t mode) {
  std::error_code none;  // `target` usually does not exist yet
  if (fs::exists(target, none) && !fs::is_regular_file(target, none)) {
    throw Failure(target.string() + " is not a regular file, not replaced");
  }
  std::random_device random;
  const std::string name =
      "." + target.filename().string() + "." + std::to_string(random()) + ".tmp";
  return NewFile(FolderOf(target) / name, mode);
}

NewFile::NewFile(NewFile&& other) noexcept
    : path_(std::exchange(other.path_, {})), descriptor_(std::exchange(other.descriptor_, -1)) {}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!path_.empty()) unlink(path_.c_str());
}

void NewFile::Write(std::string_view bytes) {
  assert(descriptor_ >= 0);
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw SystemFailure("cannot write " + path_.string());
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void NewFile::Sync() {
  if (fsync(descriptor_) != 0) throw SystemFailure("cannot write " + path_.string());
}

void NewFile::ReplaceAs(const fs::path& target) {
  assert(!path_.empty());
  Sync();
  if (rename(path_.c_str(), target.c_str()) != 0) {
    throw SystemFailure("cannot put the new file in the place of " + target.string());
  }
  path_.clear();
  SyncFolder(FolderOf(target));
}

void RefuseInputs(const fs::path& out, std::initializer_list<fs::path> inputs) {
  for (const fs::path& input : inputs) {
    std::error_code none;  // `out` usually does not exist yet
    if (fs::equivalent(input, out, none)) {
      throw Failure(out.string() + " is an input, not replaced");
    }
  }
}

// A folder that cannot be opened or synced is no reason to give up a file that is whole.
void SyncFolder(const fs::path& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

}  // namespace zenta::tools
