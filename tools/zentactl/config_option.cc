#include "tools/zentactl/config_option.h"

#include <variant>

#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/signing/signer.h"

namespace zenta::zentactl {

using signing::BuiltInSigningConfig;
using signing::Fingerprint;
using signing::ReadSigningConfig;
using signing::SigningConfig;
using tools::Failure;
using tools::NoteInput;

void AddConfigOption(CLI::App& command, std::string& path) {
  command
      .add_option("--config", path,
                  "Signing configuration (signing.conf of keygen); the one that\n"
                  "zentactl and zenta-update were built with if not given")
      ->type_name("FILE");
}

SigningConfig LoadConfig(const std::string& path) {
  if (path.empty()) return BuiltInSigningConfig();
  auto read = ReadSigningConfig(path);
  if (const auto* error = std::get_if<std::string>(&read)) throw Failure(*error);
  NoteInput(path);
  return std::get<SigningConfig>(read);
}

std::string DescribeKey(const SigningConfig& config) {
  return Fingerprint(config.modulus) +
         (config.development ? " (development: its private half is public)" : "");
}

}  // namespace zenta::zentactl
