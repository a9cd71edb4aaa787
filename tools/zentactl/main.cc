// zentactl: what a person who releases or examines this input method does from the command line.
#include <exception>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "tools/common/terminal_text.h"
#include "tools/zentactl/commands.h"

namespace {

constexpr int kFailed = 1;   // the command failed: a sentence on standard error says why
constexpr int kMisused = 2;  // the command line is wrong

struct Command {
  const char* name;
  const char* summary;
  void (*define)(CLI::App& command);
};

constexpr Command kCommands[] = {
    {"keygen", "make a signing key and the configuration that trusts it",
     zenta::zentactl::DefineKeygen},
    {"pack", "make an installer package of a bundle", zenta::zentactl::DefinePack},
    {"sign", "make the signed digest file of a package", zenta::zentactl::DefineSign},
    {"verify", "check a package against its digest file, as the updater does",
     zenta::zentactl::DefineVerify},
    {"dump", "write a file as a C array", zenta::zentactl::DefineDump},
    {"trace", "tell and draw what a trace of the on-screen keyboard holds",
     zenta::zentactl::DefineTrace},
};

// Everything that --help knows.
void Describe(CLI::App& app) {
  app.name("zentactl");
  app.set_version_flag("--version", "zentactl " ZENTA_VERSION);
  app.require_subcommand(1);
  app.footer(
      "A release, from key to update:\n"
      "  zentactl keygen --out keys\n"
      "  cmake --preset release -B build/mine -DZENTA_SIGNING_CONFIG=\"$PWD/keys/signing.conf\"\n"
      "  cmake --build build/mine --target zenta-update\n"
      "  zentactl pack ZentaIM.app --out update.pkg\n"
      "  zentactl sign update.pkg --key keys/private-key.pem --config keys/signing.conf\n"
      "  zentactl verify update.pkg inputPkg.txt --config keys/signing.conf\n"
      "\n"
      "'zentactl COMMAND --help' explains a command. Exit status: 0 done, 1 failed, 2 misused.");
  for (const Command& command : kCommands) {
    command.define(*app.add_subcommand(command.name, command.summary));
  }
}

int Run(CLI::App& app, int argc, char** argv) {
  Describe(app);
  if (argc < 2) {
    std::cerr << app.help();
    return kMisused;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kMisused;
  }
  // A result that did not reach its file, on a full disk say, must not pass for success.
  if (!std::cout.flush()) throw std::runtime_error("cannot write to standard output");
  return 0;
}

// A message may have several lines, and quotes names and texts that came from elsewhere.
void Complain(const CLI::App& app, const std::string& message) {
  std::cerr << "zentactl";
  for (const CLI::App* chosen : app.get_subcommands()) std::cerr << ' ' << chosen->get_name();
  std::cerr << ": ";
  std::istringstream lines(message);
  for (std::string line; std::getline(lines, line);) {
    std::cerr << zenta::tools::ForTerminal(line) << '\n';
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Keys, signatures, packages and data files of the Zenta input method.");
  try {
    return Run(app, argc, argv);
  } catch (const std::exception& error) {
    Complain(app, error.what());
    return kFailed;
  }
}
