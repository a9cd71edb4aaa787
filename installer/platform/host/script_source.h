// The one script form that the script runner takes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace zenta::installer {

// COMMAND of `do shell script "COMMAND" with administrator privileges`, the escapes of an
// AppleScript text (\" \\ \n \r \t) undone. nullopt for every other source: another statement, a
// quotation mark inside the command without a backslash, an unknown escape.
[[nodiscard]] std::optional<std::string> ShellCommandOf(std::string_view source);

// The command with its program moved below `root`, if it begins with an absolute path in single
// quotes; other commands as they are. So a machine's program is never taken from the host by its
// name. `root` is a folder's absolute host path, or "" for the host's own root.
[[nodiscard]] std::string WithProgramBelow(const std::string& root, const std::string& command);

}  // namespace zenta::installer
