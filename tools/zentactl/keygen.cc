#include <openssl/rand.h>

#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <variant>

#include "datahelpers/replace_file.h"
#include "tools/common/failure.h"
#include "tools/common/interruption.h"
#include "tools/common/new_file.h"
#include "tools/common/read_file.h"
#include "tools/common/terminal_text.h"
#include "tools/signing/signer.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/digest_file.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using signing::Fingerprint;
using signing::FormatSigningConfig;
using signing::ReadSigningConfig;
using signing::SignDigest;
using signing::Signer;
using signing::SigningConfig;
using signing::SyncFolder;
using tools::Failure;
using tools::ForTerminal;
using tools::NewFile;
using tools::ReadWholeFile;
using tools::SignalsHeld;
using tools::SystemFailure;

constexpr std::size_t kMaxKeyBytes = 64 << 10;
constexpr std::string_view kCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

std::uint32_t RandomWord() {
  unsigned char bytes[4];
  if (RAND_bytes(bytes, sizeof bytes) != 1) throw Failure("the system has no random numbers");
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// A number below `bound`, uniformly distributed: words above the last multiple of `bound` are
// thrown away (rejection sampling). REQUIRES: bound > 0.
std::uint32_t RandomBelow(std::uint32_t bound) {
  assert(bound > 0);
  const std::uint32_t excess = (UINT32_MAX % bound + 1) % bound;
  std::uint32_t word;
  do {
    word = RandomWord();
  } while (word > UINT32_MAX - excess);
  return word % bound;
}

// The key's public half, a random permutation of the characters (Fisher-Yates) and a random value.
SigningConfig FreshConfig(const Signer& key) {
  SigningConfig config{.modulus = key.Modulus(), .exponent = key.Exponent(), .value = RandomWord()};
  kCharacters.copy(config.alphabet.data(), config.alphabet.size());
  for (std::uint32_t i = static_cast<std::uint32_t>(config.alphabet.size()); i > 1; --i) {
    std::swap(config.alphabet[i - 1], config.alphabet[RandomBelow(i)]);
  }
  return config;
}

// Reads both files back, signs with the key and verifies with the configuration.
void CheckPair(const fs::path& key_path, const fs::path& conf_path) {
  const auto config = ReadSigningConfig(conf_path.string());
  const auto key = Signer::FromPem(ReadWholeFile(key_path, kMaxKeyBytes));
  if (std::holds_alternative<SigningConfig>(config) && std::holds_alternative<Signer>(key)) {
    const std::string digest(32, '0');
    const auto& trusted = std::get<SigningConfig>(config);
    const auto text = SignDigest(digest, trusted, std::get<Signer>(key));
    if (text && !WhyRefused(*text, digest, trusted)) return;
  }
  throw Failure("the key that was made does not work with its configuration");
}

// Makes the folder for its owner alone. One that exists keeps its permissions.
void MakeFolder(const fs::path& folder) {
  std::error_code error;
  if (fs::create_directories(folder, error)) {
    fs::permissions(folder, fs::perms::owner_all, error);
  }
  if (error) throw SystemFailure("cannot make the folder " + folder.string(), error.value());
}

// A path as one word of a shell command, in quotes if it needs them.
std::string Word(const std::string& path) {
  constexpr std::string_view kPlain = "/._-";
  const bool plain = std::all_of(path.begin(), path.end(), [&](unsigned char c) {
    return std::isalnum(c) != 0 || kPlain.find(static_cast<char>(c)) != kPlain.npos;
  });
  if (plain) return path;
  std::string word = "'";
  for (const char c : path) c == '\'' ? word += "'\\''" : word += c;
  return ForTerminal(word + "'");
}

// The command that runs this program, installed or not.
std::string ThisProgram() {
  std::error_code unknown;  // a Mac has no such link
  const fs::path path = fs::read_symlink("/proc/self/exe", unknown);
  return unknown ? "zentactl" : path.string();
}

struct KeygenOptions {
  fs::path folder;
  Speech speech;
};

void Keygen(const KeygenOptions& options) {
  const fs::path& folder = options.folder;
  MakeFolder(folder);
  // Both files are created before the key is made, and removed again if anything fails.
  NewFile key_file(folder / "private-key.pem", 0600);
  NewFile conf_file(folder / "signing.conf", 0666);
  const std::string key_path = fs::absolute(key_file.path()).lexically_normal().string();
  const std::string conf_path = fs::absolute(conf_file.path()).lexically_normal().string();

  const Signer key = Signer::Generate();
  const SigningConfig config = FreshConfig(key);
  const std::string fingerprint = Fingerprint(config.modulus);
  key_file.Write(key.ToPem());
  conf_file.Write("# Made by zentactl keygen. Public: it holds no secret. Key fingerprint:\n# " +
                  fingerprint + "\n" + FormatSigningConfig(config));
  // Everything that can fail is done before either file is kept.
  key_file.Sync();
  conf_file.Sync();
  CheckPair(key_path, conf_path);
  {
    const SignalsHeld both;
    key_file.Keep();
    conf_file.Keep();
  }
  SyncFolder(folder);
  Report()
      .Add("private key", key_path, "only you can read it: keep it so")
      .Add("configuration", conf_path)
      .Add("fingerprint", fingerprint)
      .Print(options.speech, std::cout);
  if (options.speech.json || options.speech.quiet) return;
  std::cout
      << "\nNext, in the folder of the sources, build an updater that trusts this key and no\n"
         "other, and sign with it:\n"
      << "  cmake --preset release -B build/mine -DZENTA_SIGNING_CONFIG=" << Word(conf_path)
      << "\n  cmake --build build/mine --target zenta-update\n  " << Word(ThisProgram())
      << " sign update.pkg --key " << Word(key_path) << " --config " << Word(conf_path) << '\n';
}

}  // namespace

void DefineKeygen(CLI::App& command) {
  const auto options = std::make_shared<KeygenOptions>();
  command.add_option("--out", options->folder, "Folder for both files; made if it is not there")
      ->type_name("DIR")
      ->required();
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Makes two files and overwrites none:\n"
      "  private-key.pem  an RSA key with the exponent 65537, mode 0600, not encrypted\n"
      "  signing.conf     what an updater is built with to trust it: the public key, and a fresh\n"
      "                   alphabet and 32-bit value for the text of its digest files\n"
      "\n"
      "The key has 1,024 bits because the format of the digest file fixes that. It is less than\n"
      "what is advised today: guard the folder that packages are downloaded to as well.\n"
      "\n"
      "Example:\n"
      "  zentactl keygen --out keys");
  command.callback([options] { Keygen(*options); });
}

}  // namespace zenta::zentactl
