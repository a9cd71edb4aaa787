// Files that the tools read: opened with a reason when they cannot be.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>

#include "datahelpers/file_handle.h"

namespace zenta::tools {

// Opens a regular file, links followed, and notes it as an input (inputs.h); "-" is standard input,
// whatever that is. Throws Failure with the reason if there is none. Never waits, whatever lies at the
// path.
[[nodiscard]] std::unique_ptr<signing::FileHandle> OpenFile(const std::filesystem::path& path);

// The whole of a file, which is held once. Throws Failure if it cannot be opened or read, or has over
// `limit` bytes.
[[nodiscard]] std::string ReadWholeFile(const std::filesystem::path& path, std::size_t limit);

}  // namespace zenta::tools
