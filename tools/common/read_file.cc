#include "tools/common/read_file.h"

#include <cerrno>

#include "tools/common/failure.h"

namespace zenta::tools {

using signing::Data;
using signing::FileHandle;
using signing::ReadAll;
using signing::SystemFiles;
using signing::TextOf;

std::unique_ptr<FileHandle> OpenFile(const std::filesystem::path& path) {
  auto file = SystemFiles().OpenForReading(path.string());
  if (file != nullptr) return file;
  if (errno != 0) throw SystemFailure("cannot read " + path.string());
  throw Failure("cannot read " + path.string() + ": not a regular file");
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
