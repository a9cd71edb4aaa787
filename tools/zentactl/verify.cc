#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/digest_file.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

using signing::Fingerprint;
using signing::SigningConfig;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::Refusal;

struct VerifyOptions {
  std::filesystem::path package;
  std::filesystem::path digest_file;
  std::string config;
  Speech speech;
};

void Verify(const VerifyOptions& options) {
  if (IsStandard(options.package) && IsStandard(options.digest_file)) {
    throw Failure("both files cannot be read from standard input; give one of them by its name");
  }
  const SigningConfig config = LoadConfig(options.config);
  const std::string text = ReadDigestFile(options.digest_file);
  const std::string digest = PackageDigest(options.package, "verifying", options.speech.quiet);
  const auto refusal = WhyRefused(text, digest, config);
  const std::string package = InputName(options.package);
  const std::string key = Fingerprint(config.modulus);
  if (refusal && !options.speech.json) {
    throw Refusal(package + ": " + *refusal + "; expected is the key " + key +
                  (config.development ? " (development)" : "") + " of " +
                  (options.config.empty() ? "the built-in configuration" : options.config));
  }
  Report report;
  options.speech.json ? report.AddFlag("good", !refusal).Add("package", package)
                      : report.Add("good", package);
  report.Add("digest", digest).Add("key", key, KeyRemark(config));
  if (refusal) report.Add("reason", *refusal);
  report.Print(options.speech, std::cout);
  if (refusal) throw Refusal("");
}

}  // namespace

void DefineVerify(CLI::App& command) {
  const auto options = std::make_shared<VerifyOptions>();
  command.add_option("PACKAGE", options->package, "The package")->type_name("")->required();
  command.add_option("DIGESTFILE", options->digest_file, "Its signed digest file")
      ->type_name("")
      ->required();
  AddConfigOption(command, options->config);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Goes the updater's way: read the digest file, decode it, open its signature with the\n"
      "configuration's public key, compare with the package's MD5. Says which step refused:\n"
      "a missing file, a foreign character and where it stands, a text that is too short, wrong\n"
      "padding (another key), or another digest, and then both; and which key it expected. Exit "
      "status\n"
      "1 if refused, 2 if that could not be found out.\n"
      "\n"
      "Example:\n"
      "  zentactl verify /Library/Caches/update.pkg /Library/Caches/inputPkg.txt");
  command.callback([options] { Verify(*options); });
}

}  // namespace zenta::zentactl
