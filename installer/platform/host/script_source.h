// The only form of script that the script runner accepts.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zenta::installer {

// COMMAND of `do shell script "COMMAND" with administrator privileges`, with the escapes of an
// AppleScript text (\" \\ \n \r \t) decoded. nullopt for every other source: another statement, a
// quotation mark inside the command without a backslash, or an unknown escape.
[[nodiscard]] std::optional<std::string> ShellCommandOf(std::string_view source);

// The command, with `root` inserted before its program's path if it begins with an absolute path in
// single quotes; other commands unchanged. So such a path names the machine's program and never the
// host's. `root` is the absolute host path of a folder, or "" for the host's own root.
[[nodiscard]] std::string WithProgramBelow(const std::string& root, const std::string& command);

}  // namespace zenta::installer
