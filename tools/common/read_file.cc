#include "tools/common/read_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "tools/common/failure.h"
#include "tools/common/inputs.h"

namespace zenta::tools {

namespace fs = std::filesystem;
using signing::FileHandle;
using signing::SystemFiles;

std::unique_ptr<FileHandle> OpenFile(const fs::path& path) {
  auto file = SystemFiles().OpenForReading(path.string());
  if (file == nullptr && errno != 0) throw SystemFailure("cannot read " + path.string());
  if (file == nullptr) throw Failure("cannot read " + path.string() + ": not a regular file");
  NoteInput(path);
  return file;
}

// What the file says of its size spares the text from growing, which would hold it twice.
std::string ReadWholeFile(const fs::path& path, std::size_t limit) {
  const auto file = OpenFile(path);
  std::error_code none;  // it may be gone again
  const std::uintmax_t size = fs::file_size(path, none);
  std::string text;
  if (!none) text.reserve(std::min<std::uintmax_t>(size, limit));
  std::array<std::uint8_t, 64 << 10> part;
  while (const auto count = file->Read(part)) {
    if (*count == 0) return text;
    if (*count > limit - text.size()) break;
    text.append(reinterpret_cast<const char*>(part.data()), *count);
  }
  throw Failure("cannot read " + path.string() + ": it has over " + std::to_string(limit) +
                " bytes, or the disk failed");
}

}  // namespace zenta::tools
