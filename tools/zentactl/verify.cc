#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "tools/common/failure.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/digest_file.h"

namespace zenta::zentactl {
namespace {

using signing::SigningConfig;
using tools::Failure;

struct VerifyOptions {
  std::filesystem::path package;
  std::filesystem::path digest_file;
  std::string config;
};

void Verify(const VerifyOptions& options) {
  const SigningConfig config = LoadConfig(options.config);
  const std::string text = ReadDigestFile(options.digest_file);
  const std::string digest = PackageDigest(options.package, "verifying");
  if (const auto refusal = WhyRefused(text, digest, config)) throw Failure(*refusal);
  std::cout << "good     " << options.package.string() << "\ndigest   " << digest << "\nkey      "
            << DescribeKey(config) << '\n';
}

}  // namespace

void DefineVerify(CLI::App& command) {
  const auto options = std::make_shared<VerifyOptions>();
  command.add_option("PACKAGE", options->package, "The package")->type_name("")->required();
  command.add_option("DIGESTFILE", options->digest_file, "Its signed digest file")
      ->type_name("")
      ->required();
  AddConfigOption(command, options->config);
  command.footer(
      "Goes the updater's way: read the digest file, decode it, open its signature with the\n"
      "configuration's public key, compare with the package's MD5. Says which step refused:\n"
      "a missing file, a foreign character and where it stands, a text that is too short, wrong\n"
      "padding (another key), or another digest, and then both. Exit status 1 if refused.\n"
      "\n"
      "Example:\n"
      "  zentactl verify /Library/Caches/update.pkg /Library/Caches/inputPkg.txt");
  command.callback([options] { Verify(*options); });
}

}  // namespace zenta::zentactl
