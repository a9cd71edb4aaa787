// Where a command puts its result: a file, or standard output, which is named "-".
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zenta::tools {

// Whether `path` is "-", which stands for standard input where a file is read and for standard output
// where one is written. "./-" is a file of that name.
[[nodiscard]] bool IsStandard(const std::filesystem::path& path);

// How messages call a file that is read, and one that is written: its path, or "standard input" and
// "standard output".
[[nodiscard]] std::string InputName(const std::filesystem::path& path);
[[nodiscard]] std::string OutputName(const std::filesystem::path& path);

// Puts all the bytes into the place of the file `path` in one step (new_file.h), or appends them to
// standard output. Something that is neither file nor folder, a device or a named pipe, is written to.
// Throws Failure, and the file is as it was; only a device or a pipe may have got a part. What is
// still in the buffer of std::cout is for `main` to flush and to check.
void WriteOutput(const std::filesystem::path& path, std::string_view bytes);

}  // namespace zenta::tools
