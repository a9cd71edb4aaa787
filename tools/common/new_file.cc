#include "tools/common/new_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cassert>
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

// If this throws, the destructor does not run: a file that was there before is not removed.
NewFile::NewFile(fs::path path, mode_t mode) : path_(std::move(path)) {
  const SignalsHeld held;  // until the file is there: its name may still be somebody else's
  removed_by_signal_.emplace(path_);
  descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (descriptor_ < 0) throw SystemFailure("cannot create " + path_.string());
}

NewFile NewFile::Beside(const fs::path& target, mode_t mode) {
  RefuseInput(target);
  std::error_code none;  // `target` usually does not exist yet
  if (fs::exists(target, none) && !fs::is_regular_file(target, none)) {
    throw Failure(target.string() + " is not a regular file, not replaced");
  }
  return NewFile(FreshNameBeside(target), mode);
}

NewFile::NewFile(NewFile&& other) noexcept
    : path_(std::exchange(other.path_, {})),
      descriptor_(std::exchange(other.descriptor_, -1)),
      removed_by_signal_(std::exchange(other.removed_by_signal_, std::nullopt)) {}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!path_.empty()) unlink(path_.c_str());
}

void NewFile::Write(std::string_view bytes) {
  assert(descriptor_ >= 0);
  const int error = WriteBytes(descriptor_, bytes);
  if (error != 0) throw SystemFailure("cannot write " + path_.string(), error);
}

void NewFile::Sync() {
  if (fsync(descriptor_) != 0) throw SystemFailure("cannot write " + path_.string());
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
