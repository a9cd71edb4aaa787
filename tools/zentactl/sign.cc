#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <variant>

#include "tools/common/failure.h"
#include "tools/common/new_file.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/digest_file.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using signing::Fingerprint;
using signing::SignDigest;
using signing::Signer;
using signing::SigningConfig;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::NewFile;
using tools::OutputName;
using tools::ReadWholeFile;
using tools::WriteOutput;

constexpr std::size_t kMaxKeyBytes = 64 << 10;  // a PEM file has about 900

struct SignOptions {
  fs::path package;
  fs::path key;
  std::string config;
  fs::path out;  // empty: inputPkg.txt beside the package
  Speech speech;
};

Signer LoadKey(const fs::path& path) {
  auto key = Signer::FromPem(ReadWholeFile(path, kMaxKeyBytes));
  if (const auto* error = std::get_if<std::string>(&key)) {
    throw Failure(InputName(path) + ": " + *error);
  }
  return std::get<Signer>(std::move(key));
}

// Without this the mistake would show only as a signature that does not verify.
void CheckMatch(const Signer& key, const SigningConfig& config, const fs::path& path) {
  if (key.Matches(config)) return;
  throw Failure(
      "the key does not belong to the configuration, whose updater would refuse what it signs: " +
      InputName(path) + " is " + Fingerprint(key.Modulus()) + ", the configuration's is " +
      Fingerprint(config.modulus) + "; give the --config that was made with the key");
}

// Digested anew: a package that changed meanwhile shows here and not at the user's. Standard input can be
// read once only.
void CheckAgain(const SignOptions& options, const std::string& text, const std::string& digest,
                const SigningConfig& config) {
  const std::string again = IsStandard(options.package)
                                ? digest
                                : PackageDigest(options.package, "verifying", options.speech.quiet);
  const auto refusal = WhyRefused(text, again, config);
  if (refusal) throw Failure("what was written does not verify: " + *refusal);
}

// The digest file takes its name only after it was read back and found good against the package.
void Sign(const SignOptions& options) {
  const SigningConfig config = LoadConfig(options.config);
  const Signer key = LoadKey(options.key);
  CheckMatch(key, config, options.key);
  const fs::path out =
      options.out.empty() ? options.package.parent_path() / "inputPkg.txt" : options.out;

  const std::string digest = PackageDigest(options.package, "signing", options.speech.quiet);
  const auto text = SignDigest(digest, config, key);
  if (!text) throw Failure("the key could not sign");
  if (IsStandard(out)) {
    CheckAgain(options, *text, digest, config);
    WriteOutput(out, *text);
  } else {
    NewFile file = NewFile::Beside(out, 0666);
    file.Write(*text);
    file.Sync();
    CheckAgain(options, ReadDigestFile(file.path()), digest, config);
    file.ReplaceAs(out);
  }
  Report()
      .Add("signed", InputName(options.package))
      .Add("digest", digest)
      .Add("key", Fingerprint(config.modulus), KeyRemark(config))
      .Add("written", OutputName(out))
      .Print(options.speech, IsStandard(out) ? std::cerr : std::cout);
}

}  // namespace

void DefineSign(CLI::App& command) {
  const auto options = std::make_shared<SignOptions>();
  command.add_option("PACKAGE", options->package, "The package to sign")->type_name("")->required();
  command.add_option("--key", options->key, "Private key (PEM, not encrypted)")
      ->type_name("PEM")
      ->required();
  AddConfigOption(command, options->config);
  command
      .add_option("--out", options->out,
                  "The digest file; inputPkg.txt beside the package (for a package from\n"
                  "standard input, here) if not given")
      ->type_name("FILE");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Writes the text that the updater wants beside a package before it installs it: the\n"
      "package's MD5, signed with the key. The new file is read back and checked as the updater\n"
      "will, and only then takes its name; one that was there before is replaced in one step.\n"
      "\n"
      "Examples:\n"
      "  zentactl sign update.pkg --key keys/private-key.pem --config keys/signing.conf\n"
      "  zentactl sign update.pkg --key config/signing/development-private-key.pem");
  command.callback([options] { Sign(*options); });
}

}  // namespace zenta::zentactl
