// Writes the result of a command to a file, or to standard output, which is named "-".
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace zenta::tools {

// Whether `path` is "-", which means standard input where a file is read and standard output where
// one is written. "./-" is a file of that name.
[[nodiscard]] bool IsStandard(const std::filesystem::path& path);

// The name of an input and of an output in messages: the path, or "standard input" and "standard
// output".
[[nodiscard]] std::string InputName(const std::filesystem::path& path);
[[nodiscard]] std::string OutputName(const std::filesystem::path& path);

// Replaces the file `path` by these bytes in one step (new_file.h), or appends them to standard
// output. A device or a named pipe is written to. Throws Failure; the file is then unchanged, but a
// device or a pipe can have received a part. Output to std::cout is buffered: `main` has to flush
// it and check for errors.
void WriteOutput(const std::filesystem::path& path, std::string_view bytes);

}  // namespace zenta::tools
