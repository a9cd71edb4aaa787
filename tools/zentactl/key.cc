#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/read_file.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/config_option.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

using signing::Fingerprint;
using signing::ParseSigningConfig;
using signing::Signer;
using signing::SigningConfig;
using tools::Failure;
using tools::InputName;
using tools::ReadWholeFile;

constexpr std::size_t kMaxKeyBytes = 64 << 10;

struct KeyOptions {
  std::filesystem::path file;  // empty: the built-in configuration
  Speech speech;
};

void ReportConfig(Report& report, const SigningConfig& config) {
  report.Add("fingerprint", Fingerprint(config.modulus), KeyRemark(config))
      .Add("exponent", config.exponent)
      .AddFlag("development", config.development);
}

void Show(const KeyOptions& options) {
  Report report;
  if (options.file.empty()) {
    report.Add("configuration", "built-in");
    ReportConfig(report, LoadConfig(""));
    return report.Print(options.speech, std::cout);
  }
  const std::string text = ReadWholeFile(options.file, kMaxKeyBytes);
  const std::string name = InputName(options.file);
  if (text.find("-----BEGIN") != text.npos) {
    const auto key = Signer::FromPem(text);
    if (const auto* error = std::get_if<std::string>(&key)) throw Failure(name + ": " + *error);
    const Signer& signer = std::get<Signer>(key);
    report.Add("private key", name)
        .Add("fingerprint", Fingerprint(signer.Modulus()))
        .Add("exponent", signer.Exponent());
  } else {
    const auto config = ParseSigningConfig(text);
    if (const auto* error = std::get_if<std::string>(&config)) {
      throw Failure(name + " is neither a private key (PEM) nor a configuration: " + *error);
    }
    report.Add("configuration", name);
    ReportConfig(report, std::get<SigningConfig>(config));
  }
  report.Print(options.speech, std::cout);
}

}  // namespace

void DefineKey(CLI::App& command) {
  CLI::App& show = *command.add_subcommand("show", "show a key's fingerprint");
  const auto options = std::make_shared<KeyOptions>();
  show.add_option("FILE", options->file,
                  "A private key (PEM) or a signing configuration; the one that\n"
                  "zentactl and zenta-update were built with if not given")
      ->type_name("");
  AddSpeechOptions(show, options->speech);
  show.footer(
      "Keys that belong together have one fingerprint: the private key that signs, the\n"
      "configuration that an updater was built with.\n"
      "\n"
      "Examples:\n"
      "  zentactl key show\n"
      "  zentactl key show keys/private-key.pem");
  show.callback([options] { Show(*options); });
  command.require_subcommand(1);
  command.footer("'zentactl key show --help' explains it.");
}

}  // namespace zenta::zentactl
