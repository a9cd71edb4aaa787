// zentactl: the command-line tool for releasing and examining this input method.
#include <csignal>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/nearest.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/commands.h"

namespace {

using zenta::tools::Failure;
using zenta::tools::ForTerminal;
using zenta::tools::NearestWord;
using zenta::tools::Refusal;

constexpr int kNo = 1;  // the work was done, and the answer is no: a signature does not fit, say
constexpr int kFailed = 2;  // the call was wrong, or the work could not be done

struct Command {
  const char* name;
  const char* summary;
  void (*define)(CLI::App& command);
};

#ifndef ZENTA_READS_PACKAGES
void DefineAbsent(CLI::App& command) {
  command.allow_extras();
  command.callback(
      [] { throw Failure("is not available on a Mac; 'pkgutil --expand' unpacks packages"); });
}
#endif

constexpr Command kCommands[] = {
    {"keygen", "make a signing key and the configuration that trusts it",
     zenta::zentactl::DefineKeygen},
    {"key", "show the fingerprint of a key or of a configuration", zenta::zentactl::DefineKey},
    {"pack", "make an installer package of a bundle", zenta::zentactl::DefinePack},
    {"sign", "make the signed digest file of a package", zenta::zentactl::DefineSign},
    {"verify", "check a package against its digest file, as the updater does",
     zenta::zentactl::DefineVerify},
#ifdef ZENTA_READS_PACKAGES
    {"package", "look into an installer package", zenta::zentactl::DefinePackage},
#else
    {"package", "look into an installer package: not on a Mac", DefineAbsent},
#endif
    {"message", "read, make and compare messages of the cloud service",
     zenta::zentactl::DefineMessage},
    {"dict", "make, search and compare dictionary images", zenta::zentactl::DefineDict},
    {"dump", "write a file as a C array", zenta::zentactl::DefineDump},
    {"trace", "summarise and draw a trace of the on-screen keyboard", zenta::zentactl::DefineTrace},
    {"pages", "write the man page or a shell's completion", zenta::zentactl::DefinePages},
};

// Defines the commands and the help texts.
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
      "'zentactl COMMAND --help' explains a command. A file named - is standard input or standard\n"
      "output. Results go to standard output, all else to standard error. Exit status: 0 good,\n"
      "1 the answer is no, 2 the call was wrong or the work could not be done.");
  for (const Command& command : kCommands) {
    command.define(*app.add_subcommand(command.name, command.summary));
  }
}

// The innermost command that was given: `decode` of `message decode`.
const CLI::App& Chosen(const CLI::App& app) {
  const auto below = app.get_subcommands();
  return below.empty() ? app : Chosen(*below.front());
}

// "zentactl message decode".
std::string FullName(const CLI::App& app) {
  const auto below = app.get_subcommands();
  return app.get_name() + (below.empty() ? "" : " " + FullName(*below.front()));
}

// The words that `app` accepts: the long names of its options, or the names of its commands.
std::vector<std::string> Known(const CLI::App& app, bool options) {
  std::vector<std::string> words;
  if (options) {
    for (const CLI::Option* option : app.get_options()) {
      for (const std::string& name : option->get_lnames()) words.push_back("--" + name);
    }
  } else {
    for (const CLI::App* command : app.get_subcommands(nullptr))
      words.push_back(command->get_name());
  }
  return words;
}

// What is wrong with the command line, in one sentence. An unknown word is reported before a
// missing option: it may be that option, misspelt.
std::string Explain(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& chosen = Chosen(app);
  for (const std::string& word : chosen.remaining()) {
    const bool option = word.size() > 1 && word[0] == '-';
    const std::vector<std::string> known = Known(chosen, option);
    if (known.empty()) return "unexpected argument '" + word + "'";
    const std::string nearest = NearestWord(word.substr(0, word.find('=')), known);
    return std::string("unknown ") + (option ? "option '" : "command '") + word + "'" +
           (nearest.empty() ? "" : "; did you mean '" + nearest + "'?");
  }
  return error.what();
}

// Prints an error message. It may quote foreign names and texts, so each line is escaped.
void Complain(const CLI::App& app, const std::string& message) {
  std::cerr << FullName(app) << ": ";
  std::istringstream lines(message);
  for (std::string line; std::getline(lines, line);) std::cerr << ForTerminal(line) << '\n';
}

int Run(CLI::App& app, int argc, char** argv) {
  Describe(app);
  if (argc < 2) {
    std::cerr << app.help();
    return kFailed;
  }
  int status = 0;
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    app.exit(help);
  } catch (const CLI::ParseError& error) {
    Complain(app, Explain(app, error) + " (see '" + FullName(app) + " --help')");
    return kFailed;
  } catch (const Refusal& refusal) {
    status = kNo;
    if (*refusal.what() != '\0') Complain(app, refusal.what());
  }
  // A result that could not be written, on a full disk say, is a failure.
  if (!std::cout.flush()) {
    throw Failure("cannot write to standard output: the disk is full, or its reader is gone");
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // writing to a closed pipe fails instead of ending the program
  CLI::App app("Keys, signatures, packages, messages and data files of the Zenta input method.");
  try {
    return Run(app, argc, argv);
  } catch (const std::exception& error) {
    Complain(app, error.what());
    return kFailed;
  }
}
