#include "tools/common/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/output_file.h"

namespace zenta::tools {

namespace fs = std::filesystem;
using signing::FileHandle;
using signing::SystemFiles;

namespace {

// Opens a duplicate, so that standard input stays open when the handle is closed.
std::unique_ptr<FileHandle> OpenStandardInput() {
  const int descriptor = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
  struct stat status;
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    throw SystemFailure("cannot read standard input");
  }
  NoteInput(status);
  return signing::AdoptDescriptor(descriptor);
}

}  // namespace

std::unique_ptr<FileHandle> OpenFile(const fs::path& path) {
  if (IsStandard(path)) return OpenStandardInput();
  auto file = SystemFiles().OpenForReading(path.string());
  if (file == nullptr && errno != 0) throw SystemFailure("cannot read " + path.string());
  if (file == nullptr)
    throw Failure("cannot read " + path.string() +
                  ": not a regular file ('-' reads standard input)");
  NoteInput(path);
  return file;
}

// Reserves the size that the file reports: a string that grows is in memory twice while it moves.
std::string ReadWholeFile(const fs::path& path, std::size_t limit) {
  const auto file = OpenFile(path);
  std::error_code none;  // the file may have been removed since it was opened
  const std::uintmax_t size = IsStandard(path) ? 0 : fs::file_size(path, none);
  std::string text;
  if (!none) text.reserve(std::min<std::uintmax_t>(size, limit));
  std::array<std::uint8_t, 64 << 10> part;
  for (;;) {
    errno = 0;
    const auto count = file->Read(part);
    if (!count) throw SystemFailure("cannot read " + InputName(path), errno == 0 ? EIO : errno);
    if (*count == 0) return text;
    if (*count > limit - text.size()) {
      throw Failure(InputName(path) + " is too long: it has over " + std::to_string(limit) +
                    " bytes");
    }
    text.append(reinterpret_cast<const char*>(part.data()), *count);
  }
}

}  // namespace zenta::tools
