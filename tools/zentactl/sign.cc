#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <variant>

#include "tools/common/failure.h"
#include "tools/common/new_file.h"
#include "tools/common/read_file.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/digest_file.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using signing::Fingerprint;
using signing::SignDigest;
using signing::Signer;
using signing::SigningConfig;
using tools::Failure;
using tools::NewFile;
using tools::ReadWholeFile;

constexpr std::size_t kMaxKeyBytes = 64 << 10;  // a PEM file has about 900

struct SignOptions {
  fs::path package;
  fs::path key;
  std::string config;
  fs::path out;  // empty: inputPkg.txt beside the package
};

Signer LoadKey(const fs::path& path) {
  auto key = Signer::FromPem(ReadWholeFile(path, kMaxKeyBytes));
  if (const auto* error = std::get_if<std::string>(&key)) {
    throw Failure(path.string() + ": " + *error);
  }
  return std::get<Signer>(std::move(key));
}

// Without this the mistake would show only as a signature that does not verify.
void CheckMatch(const Signer& key, const SigningConfig& config, const fs::path& path) {
  if (key.Matches(config)) return;
  throw Failure(
      "the key does not belong to the configuration: an updater built with it would\n"
      "refuse the signature\n  key:           " +
      Fingerprint(key.Modulus()) + "  " + path.string() +
      "\n  configuration: " + Fingerprint(config.modulus));
}

// The digest file takes its name only after it was read back and found good against the package.
void Sign(const SignOptions& options) {
  const SigningConfig config = LoadConfig(options.config);
  const Signer key = LoadKey(options.key);
  CheckMatch(key, config, options.key);
  const fs::path out =
      options.out.empty() ? options.package.parent_path() / "inputPkg.txt" : options.out;

  const auto text = SignDigest(PackageDigest(options.package, "signing"), config, key);
  if (!text) throw Failure("the key could not sign");
  NewFile file = NewFile::Beside(out, 0666);
  file.Write(*text);
  file.Sync();
  // Digested anew: a package that changed meanwhile shows here and not at the user's.
  const std::string digest = PackageDigest(options.package, "verifying");
  const auto refusal = WhyRefused(ReadDigestFile(file.path()), digest, config);
  if (refusal) throw Failure("what was written does not verify: " + *refusal);
  file.ReplaceAs(out);
  std::cout << "signed   " << options.package.string() << "\ndigest   " << digest << "\nkey      "
            << DescribeKey(config) << "\nwritten  " << out.string() << '\n';
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
                  "The digest file; inputPkg.txt beside the package if not given")
      ->type_name("FILE");
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
