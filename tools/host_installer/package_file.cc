#include "tools/host_installer/package_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "tools/common/failure.h"

namespace zenta::host_installer {

using tools::Failure;
using tools::SystemFailure;

PackageFile::PackageFile(const std::string& path, const std::string& shown)
    : descriptor_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)) {
  struct stat status {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    if (descriptor_ >= 0) close(descriptor_);
    throw Failure("the package path specified was invalid: '" + shown + "'.");
  }
  size_ = static_cast<std::uint64_t>(status.st_size);
}

PackageFile::~PackageFile() { close(descriptor_); }

void PackageFile::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  if (offset > size_ || bytes.size() > size_ - offset) throw Failure("the package is cut short");
  while (!bytes.empty()) {
    const ssize_t count =
        pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw SystemFailure("the package cannot be read");
    if (count == 0) throw Failure("the package was cut while it was read");
    bytes = bytes.subspan(static_cast<std::size_t>(count));
    offset += static_cast<std::uint64_t>(count);
  }
}

}  // namespace zenta::host_installer
