#include "tools/common/new_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cassert>
#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "datahelpers/replace_file.h"
#include "tools/common/failure.h"
#include "tools/common/inputs.h"

namespace zenta::tools {

namespace fs = std::filesystem;
using signing::FreshNameBeside;
using signing::MoveInto;
using signing::WriteBytes;

NewFile::NewFile(const fs::path& path, mode_t mode) : NewFile(path, path.string(), mode) {}

// If this throws, the destructor does not run, so a file that existed before is not removed.
NewFile::NewFile(fs::path path, std::string shown, mode_t mode)
    : path_(std::move(path)), shown_(std::move(shown)) {
  const SignalsHeld held;  // until the file is created: before, the path can be another file's
  removed_by_signal_.emplace(path_);
  descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor_ < 0) throw SystemFailure("cannot create " + shown_);
}

NewFile NewFile::Beside(const fs::path& target, mode_t mode) {
  RefuseInput(target);
  std::error_code none;  // `target` usually does not exist yet
  if (fs::is_directory(target, none)) throw Failure(target.string() + " is a folder, not replaced");
  if (fs::exists(target, none) && !fs::is_regular_file(target, none)) {
    throw Failure(target.string() + " is not a regular file, not replaced");
  }
  return NewFile(FreshNameBeside(target), target.string(), mode);
}

NewFile NewFile::Temporary(std::string shown) {
  return NewFile(FreshNameBeside(fs::temp_directory_path() / "zentactl"), std::move(shown), 0600);
}

NewFile::NewFile(NewFile&& other) noexcept
    : path_(std::exchange(other.path_, {})),
      shown_(std::move(other.shown_)),
      descriptor_(std::exchange(other.descriptor_, -1)),
      removed_by_signal_(std::exchange(other.removed_by_signal_, std::nullopt)) {}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!path_.empty()) unlink(path_.c_str());
}

void NewFile::Write(std::string_view bytes) {
  assert(descriptor_ >= 0);
  const int error = WriteBytes(descriptor_, bytes);
  if (error != 0) throw SystemFailure("cannot write " + shown_, error);
}

void NewFile::Sync() {
  if (fsync(descriptor_) != 0) throw SystemFailure("cannot write " + shown_);
}

void NewFile::CopyTo(int descriptor) const {
  std::array<char, 64 << 10> part;
  off_t offset = 0;
  for (ssize_t count; (count = pread(descriptor_, part.data(), part.size(), offset)) != 0;) {
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw SystemFailure("cannot read what goes to " + shown_);
    const std::string_view bytes(part.data(), static_cast<std::size_t>(count));
    const int error = WriteBytes(descriptor, bytes);
    if (error != 0) throw SystemFailure("cannot write " + shown_, error);
    offset += count;
  }
}

void NewFile::Keep() noexcept {
  path_.clear();
  removed_by_signal_.reset();
}

void NewFile::ReplaceAs(const fs::path& target) {
  assert(!path_.empty());
  RefuseInput(target);
  const int error = MoveInto(target, path_, descriptor_);
  if (error != 0) {
    throw SystemFailure("cannot put the new file in the place of " + target.string(), error);
  }
  Keep();
}

}  // namespace zenta::tools
