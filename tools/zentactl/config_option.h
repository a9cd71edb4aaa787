// The option --config, which several commands share.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "datahelpers/signing_config.h"

namespace zenta::zentactl {

// Adds --config to `command`. Its value goes to `path`, which must outlive `command`.
void AddConfigOption(CLI::App& command, std::string& path);

// Reads the configuration at `path`. An empty path stands for the built-in one. Throws Failure.
[[nodiscard]] signing::SigningConfig LoadConfig(const std::string& path);

// A warning to print beside the fingerprint of a development key; empty for other keys.
[[nodiscard]] std::string KeyRemark(const signing::SigningConfig& config);

}  // namespace zenta::zentactl
