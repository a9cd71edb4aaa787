// Opens and reads the tools' input files; the exceptions say why that failed.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "datahelpers/file_handle.h"

namespace zenta::tools {

// Opens a regular file, following links, and notes it as an input (inputs.h). "-" opens standard
// input, which may be of any kind. Throws Failure with the reason. The open never blocks, not even
// on a named pipe.
[[nodiscard]] std::unique_ptr<signing::FileHandle> OpenFile(const std::filesystem::path& path);

// Reads a whole file, and holds it in memory only once. Throws Failure if it cannot be opened or
// read, or has over `limit` bytes.
[[nodiscard]] std::string ReadWholeFile(const std::filesystem::path& path, std::size_t limit);

}  // namespace zenta::tools
