// Runs a program with administrator rights through the system's script language, which asks the
// user for the password.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "datahelpers/bytes.h"
#include "installer/platform.h"

namespace zenta::installer {

// Runs `path` with `arguments`, and returns whether that succeeded. Each of the three results is
// optional. `output` is set on success: the program's standard output as the script language
// returns it, or nil. `error` and `number` are set on failure: the message and the error number, or
// nil if the script language gives none.
//
// Nothing is escaped: the path is put in single quotes, and the arguments are joined by blanks
// without quotes. So neither may come from untrusted input.
[[nodiscard]] bool RunAsAdministrator(ScriptRunner& scripts, const std::string& path,
                                      std::span<const std::string> arguments,
                                      signing::Text* output = nullptr,
                                      signing::Text* error = nullptr,
                                      std::optional<std::int64_t>* number = nullptr);

}  // namespace zenta::installer
