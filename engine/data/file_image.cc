#include "engine/data/file_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/io/files/descriptor.h"

namespace zenta::data {
namespace {

using tstl::FAILURE;

constexpr int kToRead = O_RDONLY | O_NONBLOCK;

// An open file, closed at its end.
class File {
 public:
  File(const char* path, int flags)
      : fd_(path == nullptr ? -1 : ::open(path, flags | O_CLOEXEC, 0666)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() { (void)Close(); }

  explicit operator bool() const { return fd_ >= 0; }
  [[nodiscard]] int fd() const { return fd_; }

  [[nodiscard]] std::uint64_t Size() const {
    struct stat info;
    return fd_ >= 0 && ::fstat(fd_, &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
  }
  // Bytes read, fewer than `n` at the file's end; 0 after an error.
  std::uint64_t Read(void* to, std::uint64_t n) const;
  // Some file systems tell only here that the disk is full.
  [[nodiscard]] bool Close() { return fd_ >= 0 && ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_;
};

std::uint64_t File::Read(void* to, std::uint64_t n) const {
  constexpr std::uint64_t kMost = std::uint64_t{1} << 30;  // some systems refuse 2 GiB
  auto* const bytes = static_cast<unsigned char*>(to);
  std::uint64_t done = 0;
  while (done < n) {
    const auto part = static_cast<std::size_t>(std::min(n - done, kMost));
    const std::int64_t got = tstl::detail::read_some(fd_, bytes + done, part);
    if (got < 0) return 0;
    if (got == 0) break;
    done += static_cast<std::uint64_t>(got);
  }
  return done;
}

// What is no file with contents (EINVAL) has nothing to lose.
bool BringToDisk(const char* path) {
  const File file(path, kToRead);
  return file && (::fsync(file.fd()) == 0 || errno == EINVAL);
}

// After a rename that failed with `error`: the target is removed only if that can help.
bool RemoveAndRename(const char* from, const char* to, int error) {
  const bool in_the_way =
      error == EISDIR || error == ENOTDIR || error == EEXIST || error == ENOTEMPTY;
  return in_the_way && std::remove(to) == 0 && std::rename(from, to) == 0;
}

}  // namespace

std::uint64_t FileSize(const char* path) { return File(path, kToRead).Size(); }

bool FileExists(const char* path) { return static_cast<bool>(File(path, kToRead)); }

std::uint64_t ReadFileInto(void* destination, std::uint64_t n, const char* path) {
  const File file(path, kToRead);
  if (!file || destination == nullptr || file.Size() < n) return 0;
  return file.Read(destination, n) == n ? n : 0;
}

tstl::Buffer<unsigned char> ReadFileImage(const char* path, std::uint64_t limit) {
  tstl::Buffer<unsigned char> image;
  const File file(path, kToRead);
  const std::uint64_t length = std::min(file.Size(), limit);
  if (length > image.kGreatestCapacity || !image.recapacity(length)) return image;
  if (length != 0) image.set_len(static_cast<unsigned>(file.Read(image.str(), length)));
  return image;
}

std::uint32_t WriteFileImage(const char* path, const void* data, std::uint64_t length) {
  File file(data == nullptr ? nullptr : path, O_WRONLY | O_CREAT | O_TRUNC);
  if (!file) return FAILURE;
  const bool written = tstl::detail::write_all(file.fd(), data, length) == 0;
  return file.Close() && written ? 0 : FAILURE;
}

std::uint32_t PatchFileAt(const char* path, std::uint64_t offset,
                          tstl::BufferRef<unsigned char> data) {
  const File file(path, O_RDWR);
  if (!file) return FAILURE;
  if (std::in_range<off_t>(offset) && ::lseek(file.fd(), static_cast<off_t>(offset), SEEK_SET) >= 0)
    (void)tstl::detail::write_all(file.fd(), data.cstr(), data.len());
  return 0;
}

std::uint32_t ReplaceFile(const char* new_path, const char* target_path) {
  if (target_path == nullptr || !BringToDisk(new_path)) return FAILURE;
  if (std::rename(new_path, target_path) != 0 && !RemoveAndRename(new_path, target_path, errno)) {
    (void)std::remove(new_path);
    return FAILURE;
  }
  return FileExists(target_path) ? 0 : FAILURE;
}

}  // namespace zenta::data
