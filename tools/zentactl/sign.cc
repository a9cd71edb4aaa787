#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
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
// The MD5 of no bytes (RFC 1321, A.5).
constexpr std::string_view kEmptyDigest = "d41d8cd98f00b204e9800998ecf8427e";

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

// A key that does not belong to the configuration signs all the same, but its updater refuses that.
void CheckMatch(const Signer& key, const SigningConfig& config, const fs::path& path) {
  if (key.Matches(config)) return;
  throw Failure(
      "the key does not belong to the configuration, whose updater would refuse what it signs: " +
      InputName(path) + " is " + Fingerprint(key.Modulus()) + ", the configuration's is " +
      Fingerprint(config.modulus) + "; give the --config that was made with the key");
}

// Reads the package again, so that a change in between is found here and not by a user's updater.
// Standard input can be read only once.
void CheckAgain(const SignOptions& options, const std::string& text, const std::string& digest,
                const SigningConfig& config) {
  const std::string again = IsStandard(options.package)
                                ? digest
                                : PackageDigest(options.package, "verifying", options.speech.quiet);
  const auto refusal = WhyRefused(text, again, config);
  if (refusal) throw Failure("what was written does not verify: " + *refusal);
}

// The digest file is read back and verified against the package before it takes its name.
void Sign(const SignOptions& options) {
  const SigningConfig config = LoadConfig(options.config);
  const Signer key = LoadKey(options.key);
  CheckMatch(key, config, options.key);
  const fs::path out =
      options.out.empty() ? options.package.parent_path() / "inputPkg.txt" : options.out;

  const std::string digest = PackageDigest(options.package, "signing", options.speech.quiet);
  if (digest == kEmptyDigest) {
    throw Failure(InputName(options.package) + " is empty: there is no package to sign");
  }
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
      "An empty package is refused.\n"
      "\n"
      "Examples:\n"
      "  zentactl sign update.pkg --key keys/private-key.pem --config keys/signing.conf\n"
      "  zentactl sign update.pkg --key config/signing/development-private-key.pem");
  command.callback([options] { Sign(*options); });
}

}  // namespace zenta::zentactl
