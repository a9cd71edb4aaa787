#include "engine/data/file_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "corelib/base/types.h"
#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/read_file.h"
#include "corelib/io/files/replace_file.h"

namespace zenta::data {
namespace {

using tstl::FAILURE;

constexpr int kToRead = O_RDONLY | O_NONBLOCK;

using File = tstl::detail::Descriptor;
using tstl::detail::open_file;

std::uint64_t SizeOf(const File& file) {
  struct stat info;
  return file && ::fstat(file.fd(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
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
  return tstl::detail::replace_file(new_path, target_path) == 0 ? 0 : FAILURE;
}

}  // namespace zenta::data
