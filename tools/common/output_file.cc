#include "tools/common/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <iostream>
#include <system_error>

#include "datahelpers/replace_file.h"
#include "tools/common/failure.h"
#include "tools/common/new_file.h"

namespace zenta::tools {
namespace {

namespace fs = std::filesystem;

// Writes to a device or a named pipe, which must not be replaced by a file.
void WriteThrough(const fs::path& path, std::string_view bytes) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
  if (descriptor < 0) throw SystemFailure("cannot write " + path.string());
  const int error = signing::WriteBytes(descriptor, bytes);
  close(descriptor);
  if (error != 0) throw SystemFailure("cannot write " + path.string(), error);
}

}  // namespace

bool IsStandard(const fs::path& path) { return path == "-"; }

std::string InputName(const fs::path& path) {
  return IsStandard(path) ? "standard input" : path.string();
}

std::string OutputName(const fs::path& path) {
  return IsStandard(path) ? "standard output" : path.string();
}

void WriteOutput(const fs::path& path, std::string_view bytes) {
  if (IsStandard(path)) {
    std::cout.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return;
  }
  std::error_code none;  // usually there is no such file yet
  const fs::file_status there = fs::status(path, none);
  if (fs::is_directory(there)) throw Failure("cannot write " + path.string() + ": it is a folder");
  if (fs::exists(there) && !fs::is_regular_file(there)) return WriteThrough(path, bytes);
  NewFile file = NewFile::Beside(path, 0666);
  file.Write(bytes);
  file.ReplaceAs(path);
}

}  // namespace zenta::tools
