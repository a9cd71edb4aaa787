// The option --config, which several commands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "datahelpers/signing_config.h"

namespace zenta::zentactl {

// Adds --config to `command`; it fills `path`, which has to live as long as the command.
void AddConfigOption(CLI::App& command, std::string& path);

// The configuration in the file at `path`; of an empty path, the one that this program was built
// with. Throws Failure.
[[nodiscard]] signing::SigningConfig LoadConfig(const std::string& path);

// What a person should know of a configuration's key beside its fingerprint; empty if nothing.
[[nodiscard]] std::string KeyRemark(const signing::SigningConfig& config);

}  // namespace zenta::zentactl
