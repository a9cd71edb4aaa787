// Runs a program with administrator rights, through the system's script language: that is what asks
// the person for the password.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "datahelpers/bytes.h"
#include "installer/platform.h"

namespace zenta::installer {

// Runs `path` with `arguments` and says whether that succeeded. `output`, if given, receives what
// the script gives back (the program's standard output as the script language tells it; nil if it
// tells none) on success; `error`, if given, why it failed, or nil if nothing is known; `number`, if
// given, the error number of a failure, or nullopt.
//
// The caller minds the quoting: the path stands in single quotes, the arguments are joined by
// blanks without any, and nothing is escaped. They must not come from outside.
[[nodiscard]] bool RunAsAdministrator(ScriptRunner& scripts, const std::string& path,
                                      std::span<const std::string> arguments,
                                      signing::Text* output = nullptr,
                                      signing::Text* error = nullptr,
                                      std::optional<std::int64_t>* number = nullptr);

}  // namespace zenta::installer
