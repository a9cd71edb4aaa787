#include "engine/data/file_image.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/read_file.h"

namespace zenta::data {
namespace {

using tstl::FAILURE;

constexpr int kToRead = O_RDONLY | O_NONBLOCK;

using File = tstl::detail::Descriptor;
using Text = tstl::BufferRef<unsigned char>;
using tstl::detail::open_file;

std::uint64_t SizeOf(const File& file) {
  struct stat info;
  return file && ::fstat(file.fd(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

// Brings a file that is no folder to disk, and tells what it is. What has no contents, like a pipe
// (EINVAL, ENOTSUP), has nothing to lose.
bool BringToDisk(const char* path, struct stat& info) {
  const File file(open_file(path, kToRead));
  if (!file || ::fstat(file.fd(), &info) != 0 || S_ISDIR(info.st_mode)) return false;
  const int error = tstl::detail::sync_file(file.fd());
  return error == 0 || error == EINVAL || error == ENOTSUP;
}

bool IsSameFile(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The part of a path behind the last slash, and the folder that it is in.
Text NameOf(Text path) { return path.sub_tail(path.findback_chr('/') + 1); }
bool LookAtFolder(Text path, struct stat& info) {
  const Text folder = path.sub_head(path.len() - NameOf(path).len());
  const tstl::Buffer<unsigned char> name(folder ? folder : Text("."));
  return ::stat(reinterpret_cast<const char*>(name.c_str()), &info) == 0;
}

bool AreSame(Text name, Text other) {
#ifdef __APPLE__  // where most file systems ignore case
  return name.len() == other.len() &&
         ::strncasecmp(name.std_view().data(), other.std_view().data(), name.len()) == 0;
#else
  return name == other;
#endif
}

// Whether two paths of one file are spellings of one name, rather than two names of it.
bool IsSameEntry(const char* path, const char* other) {
  struct stat link, folder, other_folder;
  if (::lstat(path, &link) != 0 || S_ISLNK(link.st_mode)) return false;
  return link.st_nlink == 1 ||
         (AreSame(NameOf(path), NameOf(other)) && LookAtFolder(path, folder) &&
          LookAtFolder(other, other_folder) && IsSameFile(folder, other_folder));
}

// After a rename that failed with `error`: the target is removed only if that can help.
bool RemoveAndRename(const char* from, const char* to, int error) {
  const bool in_the_way =
      error == EISDIR || error == ENOTDIR || error == EEXIST || error == ENOTEMPTY;
  return in_the_way && std::remove(to) == 0 && std::rename(from, to) == 0;
}

}  // namespace

std::uint64_t FileSize(const char* path) { return SizeOf(File(open_file(path, kToRead))); }

bool FileExists(const char* path) { return static_cast<bool>(File(open_file(path, kToRead))); }

std::uint64_t ReadFileInto(void* destination, std::uint64_t n, const char* path) {
  const File file(open_file(path, kToRead));
  if (!file || destination == nullptr || SizeOf(file) < n) return 0;
  const std::int64_t got = tstl::detail::read_up_to(file.fd(), destination, n);
  return got >= 0 && static_cast<std::uint64_t>(got) == n ? n : 0;
}

tstl::Buffer<unsigned char> ReadFileImage(const char* path, std::uint64_t limit) {
  tstl::Buffer<unsigned char> image;
  (void)tstl::detail::read_file(path, image, limit, tstl::detail::IfLonger::kCut);
  return image;
}

std::uint32_t WriteFileImage(const char* path, const void* data, std::uint64_t length) {
  File file(data == nullptr ? -1 : open_file(path, O_WRONLY | O_CREAT | O_TRUNC));
  if (!file) return FAILURE;
  const bool written = tstl::detail::write_all(file.fd(), data, length) == 0;
  return file.close() == 0 && written ? 0 : FAILURE;
}

std::uint32_t PatchFileAt(const char* path, std::uint64_t offset,
                          tstl::BufferRef<unsigned char> data) {
  const File file(open_file(path, O_RDWR));
  if (!file) return FAILURE;
  if (std::in_range<off_t>(offset) && ::lseek(file.fd(), static_cast<off_t>(offset), SEEK_SET) >= 0)
    (void)tstl::detail::write_all(file.fd(), data.cstr(), data.len());
  return 0;
}

std::uint32_t ReplaceFile(const char* new_path, const char* target_path) {
  struct stat fresh, target;
  if (target_path == nullptr || !BringToDisk(new_path, fresh)) return FAILURE;
  if (::lstat(target_path, &target) == 0 && IsSameFile(fresh, target)) {
    // rename() would leave both names, or put a link in the place of what it leads to.
    if (!IsSameEntry(new_path, target_path)) (void)std::remove(new_path);
    return 0;
  }
  if (std::rename(new_path, target_path) != 0 && !RemoveAndRename(new_path, target_path, errno)) {
    (void)std::remove(new_path);
    return FAILURE;
  }
  return FileExists(target_path) ? 0 : FAILURE;
}

}  // namespace zenta::data
