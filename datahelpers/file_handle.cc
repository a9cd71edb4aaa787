#include "datahelpers/file_handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>

namespace zenta::signing {
namespace {

class Descriptor final : public FileHandle {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() override { ::close(descriptor_); }
  Descriptor(Descriptor&&) = delete;

  std::optional<std::size_t> Read(std::span<std::uint8_t> into) override {
    assert(!into.empty());
    ssize_t count;
    do {
      count = ::read(descriptor_, into.data(), into.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) return std::nullopt;
    return static_cast<std::size_t>(count);
  }

 private:
  const int descriptor_;
};

class PosixFiles final : public FileOpener {
 public:
  std::unique_ptr<FileHandle> OpenForReading(const std::string& path) override {
    errno = EINVAL;
    if (path.find('\0') != std::string::npos) return nullptr;  // open would see a shorter path
    // Without O_NONBLOCK the open of a named pipe would wait for a writer.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (descriptor < 0) return nullptr;
    auto file = AdoptDescriptor(descriptor);
    // fstat on the descriptor, because the path may name another file by now.
    struct stat status;
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) return file;
    file.reset();
    errno = 0;
    return nullptr;
  }
};

}  // namespace

std::unique_ptr<FileHandle> AdoptDescriptor(int descriptor) {
  assert(descriptor >= 0);
  return std::make_unique<Descriptor>(descriptor);
}

FileOpener& SystemFiles() {
  static PosixFiles files;
  return files;
}

Data ReadUpTo(FileHandle& file, std::size_t limit) {
  Bytes bytes;
  std::array<std::uint8_t, 16384> chunk;
  while (bytes.size() < limit) {
    const auto count =
        file.Read(std::span(chunk).first(std::min(chunk.size(), limit - bytes.size())));
    if (!count) return std::nullopt;
    if (*count == 0) break;
    bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(*count));
  }
  return bytes;
}

Data ReadAll(FileHandle& file, std::size_t limit) {
  Data bytes = ReadUpTo(file, limit == kNoLimit ? kNoLimit : limit + 1);
  if (bytes && bytes->size() > limit) return std::nullopt;
  return bytes;
}

}  // namespace zenta::signing
