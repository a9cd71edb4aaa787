#include "tools/common/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "tools/common/failure.h"

namespace zenta::tools {

using signing::AdoptDescriptor;
using signing::Data;
using signing::FileHandle;
using signing::ReadAll;
using signing::TextOf;

std::unique_ptr<FileHandle> OpenFile(const std::filesystem::path& path) {
  // Without O_NONBLOCK a named pipe would wait here for somebody to write to it.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) throw SystemFailure("cannot read " + path.string());
  auto file = AdoptDescriptor(descriptor);
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    throw Failure("cannot read " + path.string() + ": not a regular file");
  }
  return file;
}

std::string ReadWholeFile(const std::filesystem::path& path, std::size_t limit) {
  const Data bytes = ReadAll(*OpenFile(path), limit);
  if (!bytes) {
    throw Failure("cannot read " + path.string() + ": it has over " + std::to_string(limit) +
                  " bytes, or the disk failed");
  }
  return TextOf(*bytes);
}

}  // namespace zenta::tools
