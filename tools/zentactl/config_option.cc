#include "tools/zentactl/config_option.h"

#include <variant>

#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"

namespace zenta::zentactl {

using signing::BuiltInSigningConfig;
using signing::ParseSigningConfig;
using signing::ReadSigningConfig;
using signing::SigningConfig;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::NoteInput;
using tools::ReadWholeFile;

namespace {

constexpr std::size_t kMaxConfigBytes = 64 << 10;  // a real one has about 500

}  // namespace

void AddConfigOption(CLI::App& command, std::string& path) {
  command
      .add_option("--config", path,
                  "Signing configuration (signing.conf of keygen); the one that\n"
                  "zentactl and zenta-update were built with if not given")
      ->type_name("FILE");
}

SigningConfig LoadConfig(const std::string& path) {
  if (path.empty()) return BuiltInSigningConfig();
  if (IsStandard(path)) {
    auto read = ParseSigningConfig(ReadWholeFile(path, kMaxConfigBytes));
    if (const auto* error = std::get_if<std::string>(&read)) {
      throw Failure(InputName(path) + ": " + *error);
    }
    return std::get<SigningConfig>(read);
  }
  auto read = ReadSigningConfig(path);
  if (const auto* error = std::get_if<std::string>(&read)) throw Failure(*error);
  NoteInput(path);
  return std::get<SigningConfig>(read);
}

std::string KeyRemark(const SigningConfig& config) {
  return config.development ? "development: its private half is public" : "";
}

}  // namespace zenta::zentactl
