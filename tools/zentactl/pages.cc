// The man page and the shells' completions, made from the same definitions as --help. The build
// runs this command, and the files that it writes are installed.
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "tools/common/output_file.h"
#include "tools/zentactl/commands.h"

namespace zenta::zentactl {
namespace {

using CLI::App;
using CLI::Option;
using tools::WriteOutput;

// A command and the words that lead to it, each after a blank: " message decode". zentactl itself
// has none.
struct Place {
  std::string words;
  const App* app;
};

// The commands that --help shows, in its order.
std::vector<const App*> Below(const App& app) {
  return app.get_subcommands([](const App* command) { return !command->get_group().empty(); });
}

// Appends the command and all commands below it, depth first.
void Gather(const App& app, const std::string& words, std::vector<Place>& places) {
  places.push_back({words, &app});
  for (const App* command : Below(app)) Gather(*command, words + " " + command->get_name(), places);
}

std::vector<const Option*> OptionsOf(const App& app, bool positional) {
  return app.get_options(
      [positional](const Option* option) { return option->get_positional() == positional; });
}

std::string NameOf(const Option& option) {
  return option.get_lnames().empty() ? "-" + option.get_snames().front()
                                     : "--" + option.get_lnames().front();
}

bool TakesValue(const Option& option) { return option.get_items_expected_max() > 0; }

bool IsFolder(const Option& option) { return option.get_type_name() == "DIR"; }

// The values that an option accepts, separated by blanks: "request response" for the type name
// "request|response". Empty if the type name does not list them.
std::string WordsOf(const Option& option) {
  std::string words = option.get_type_name();
  if (words.find('|') == words.npos) return "";
  std::replace(words.begin(), words.end(), '|', ' ');
  return words;
}

std::string ReplaceAll(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string OneLine(const std::string& text) { return ReplaceAll(text, "\n", " "); }

// As one word of a shell, in single quotes.
std::string Quoted(const std::string& text) { return "'" + ReplaceAll(text, "'", "'\\''") + "'"; }

// ---- zentactl(1)

// The text, escaped so that troff prints it unchanged on a line of its own.
std::string Troff(std::string text) {
  text = ReplaceAll(std::move(text), "\\", "\\e");
  text = ReplaceAll(std::move(text), "-", "\\-");
  text = ReplaceAll(std::move(text), "'", "\\(aq");
  text = ReplaceAll(std::move(text), "~", "\\(ti");
  text = ReplaceAll(std::move(text), "^", "\\(ha");
  return text.starts_with('.') ? "\\&" + text : text;
}

std::string Bold(const std::string& text) { return "\\fB" + Troff(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Troff(text) + "\\fR"; }

std::string WithValue(const Option& option) {
  const std::string name = Bold(NameOf(option));
  return TakesValue(option) ? name + " " + Italic(option.get_type_name()) : name;
}

// Prints the part of a help text after the options. Lines that begin with a blank are examples and
// tables and stay as they are; others are filled.
void PrintFooter(std::ostream& out, const std::string& footer) {
  std::istringstream lines(footer);
  bool literal = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.empty()) {
      out << (literal ? "\n" : ".PP\n");
      continue;
    }
    if (line.starts_with(' ') != literal) {
      literal = !literal;
      out << (literal ? ".PP\n.EX\n" : ".EE\n.PP\n");
    }
    out << Troff(line) << '\n';
  }
  if (literal) out << ".EE\n";
}

void PrintCommand(std::ostream& out, const Place& place) {
  const App& app = *place.app;
  const std::string name = "zentactl" + place.words;
  out << ".SS " << Troff(name) << '\n' << Bold(name) << '\n';
  for (const Option* option : OptionsOf(app, false)) {
    if (option->get_required()) out << WithValue(*option) << '\n';
  }
  out << "[" << Italic("OPTION") << " ...]\\&\n";  // \&: the dots do not end a sentence
  for (const Option* argument : OptionsOf(app, true)) {
    const std::string word =
        Italic(argument->get_name(true)) + (argument->get_items_expected_max() > 1 ? " ..." : "");
    out << (argument->get_required() ? word : "[" + word + "]") << '\n';
  }
  std::string summary = app.get_description();
  summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
  out << ".PP\n" << Troff(summary) << ".\n";
  for (const bool positional : {true, false}) {
    for (const Option* option : OptionsOf(app, positional)) {
      if (option == app.get_help_ptr()) continue;
      out << ".TP\n"
          << (positional ? Italic(option->get_name(true)) : WithValue(*option)) << '\n'
          << Troff(OneLine(option->get_description())) << '\n';
    }
  }
  out << ".PP\n";
  PrintFooter(out, app.get_footer());
}

void PrintMan(std::ostream& out, const std::vector<Place>& places) {
  const App& zentactl = *places.front().app;
  std::string summary = zentactl.get_description();
  summary.erase(summary.find_last_not_of('.') + 1);
  out << ".TH ZENTACTL 1 \"\" \"zentactl " ZENTA_VERSION "\" \"Zenta\"\n"
      << ".SH NAME\nzentactl \\- " << Troff(summary) << '\n'
      << ".SH SYNOPSIS\n\\fBzentactl\\fR \\fICOMMAND\\fR [\\fIOPTION\\fR ...] [\\fIARGUMENT\\fR "
         "...]\n.br\n"
      << "\\fBzentactl\\fR [\\fICOMMAND\\fR] \\fB\\-\\-help\\fR\n.br\n"
      << "\\fBzentactl \\-\\-version\\fR\n.SH DESCRIPTION\n";
  PrintFooter(out, zentactl.get_footer());
  out << ".SH COMMANDS\n";
  for (const Place& place : places) {
    if (Below(*place.app).empty()) PrintCommand(out, place);
  }
  out << ".SH SEE ALSO\n.BR zenta\\-update (8)\n";
}

// ---- Completions. Each collects the words of the line that are commands, as in Place::words, and
// offers what can follow: commands, options, the values of an option, folders or files.

// Calls `use(place, option)` for every option of every command.
void ForEachOption(const std::vector<Place>& places,
                   const std::function<void(const Place&, const Option&)>& use) {
  for (const Place& place : places) {
    for (const Option* option : OptionsOf(*place.app, false)) use(place, *option);
  }
}

// The words of all commands but zentactl itself, quoted, with `separator` between them:
// ' keygen' | ' key' | ' key show' ...
std::string AllWords(const std::vector<Place>& places, const char* separator) {
  std::string all;
  for (const Place& place : places) {
    if (!place.words.empty()) all += (all.empty() ? "" : separator) + Quoted(place.words);
  }
  return all;
}

constexpr const char* kBashHead =
    "# Completion of zentactl for bash.\n"
    "_zentactl() {\n"
    "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} at= words= commands= "
    "options= i\n"
    "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
    "    case \"$at ${COMP_WORDS[i]}\" in\n";

// Where COMPREPLY stays empty, bash completes the names of files by itself (-o default).
constexpr const char* kBashTail =
    "  case $cur in\n"
    "    -*) words=$options ;;\n"
    "    *) words=$commands ;;\n"
    "  esac\n"
    "  COMPREPLY=($(compgen -W \"$words\" -- \"$cur\"))\n"
    "}\n"
    "complete -o default -F _zentactl zentactl\n";

void PrintBash(std::ostream& out, const std::vector<Place>& places) {
  out << kBashHead << "      " << AllWords(places, " | ")
      << ") at+=\" ${COMP_WORDS[i]}\" ;;\n    esac\n  done\n  COMPREPLY=()\n  case \"$at $prev\" "
         "in\n";
  ForEachOption(places, [&](const Place& place, const Option& option) {
    if (!TakesValue(option)) return;
    const std::string words = WordsOf(option);
    out << "    " << Quoted(place.words + " " + NameOf(option)) << ") ";
    if (!words.empty()) out << "COMPREPLY=($(compgen -W " << Quoted(words) << " -- \"$cur\")); ";
    if (IsFolder(option)) out << "compopt -o dirnames +o default; ";
    out << "return ;;\n";
  });
  out << "  esac\n  case $at in\n";
  for (const Place& place : places) {
    out << "    " << Quoted(place.words) << ") commands='";
    for (const App* command : Below(*place.app)) out << command->get_name() << ' ';
    out << "' options='";
    for (const Option* option : OptionsOf(*place.app, false)) out << NameOf(*option) << ' ';
    out << "' ;;\n";
  }
  out << "  esac\n" << kBashTail;
}

// A description, escaped for _arguments and _describe.
std::string ForZsh(const std::string& text) {
  std::string escaped = OneLine(text);
  for (const char* special : {"\\", ":", "[", "]"}) {
    escaped = ReplaceAll(std::move(escaped), special, std::string("\\") + special);
  }
  return escaped;
}

void PrintZshOption(std::ostream& out, const Option& option) {
  std::string spec = NameOf(option) + "[" + ForZsh(option.get_description()) + "]";
  if (TakesValue(option)) {
    const std::string words = WordsOf(option);
    spec += ": :" + (!words.empty()     ? "(" + words + ")"
                     : IsFolder(option) ? "_files -/"
                                        : "_files");
  }
  out << " \\\n    " << Quoted(spec);
}

// Writes a function for each command. It completes the options, and then the names of files, or
// calls the function of the next command on the line.
void PrintZsh(std::ostream& out, const std::vector<Place>& places) {
  out << "#compdef zentactl\n# Completion of zentactl for zsh.\n";
  for (const Place& place : places) {
    const std::string function = "_zentactl" + ReplaceAll(place.words, " ", "_");
    const auto below = Below(*place.app);
    out << function << "() {\n  local curcontext=$curcontext state line\n  local -a commands=(";
    for (const App* command : below) {
      out << "\n    " << Quoted(command->get_name() + ":" + ForZsh(command->get_description()));
    }
    out << ")\n  _arguments -C";
    for (const Option* option : OptionsOf(*place.app, false)) PrintZshOption(out, *option);
    if (below.empty()) {
      out << " \\\n    '*: :_files'\n}\n";
    } else {
      out << " \\\n    '1: :->command' '*:: :->rest'\n"
             "  case $state in\n"
             "    command) _describe command commands ;;\n"
             "    rest) (( $+functions["
          << function << "_$words[1]] )) && " << function << "_$words[1] ;;\n  esac\n}\n";
    }
  }
  out << "_zentactl \"$@\"\n";
}

constexpr const char* kFishHead =
    "# Completion of zentactl for fish.\n"
    "function __zentactl_at # whether the words of the line that are commands are these\n"
    "    set -l at\n"
    "    for word in (commandline -opc)[2..-1]\n"
    "        contains -- \"$at $word\"";

void PrintFish(std::ostream& out, const std::vector<Place>& places) {
  out << kFishHead << ' ' << AllWords(places, " ")
      << "; and set at \"$at $word\"\n    end\n    test \"$at\" = \"$argv[1]\"\nend\n";
  for (const Place& place : places) {
    const std::string at = "complete -c zentactl -n '__zentactl_at \"" + place.words + "\"'";
    for (const App* command : Below(*place.app)) {
      out << at << " -f -a " << command->get_name() << " -d "
          << Quoted(OneLine(command->get_description())) << '\n';
    }
    for (const Option* option : OptionsOf(*place.app, false)) {
      const std::string words = WordsOf(*option), name = NameOf(*option);
      out << at << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
      if (TakesValue(*option)) {
        out << (!words.empty()      ? " -x -a " + Quoted(words)
                : IsFolder(*option) ? " -x -a '(__fish_complete_directories)'"
                                    : " -r -F");
      }
      out << " -d " << Quoted(OneLine(option->get_description())) << '\n';
    }
  }
}

}  // namespace

void DefinePages(CLI::App& command) {
  struct PagesOptions {
    std::string kind;
    std::filesystem::path out = "-";
  };
  const auto options = std::make_shared<PagesOptions>();
  command.group("");  // --help does not show it
  command.add_option("KIND", options->kind, "man, or the shell to complete for")
      ->type_name("")
      ->required()
      ->check(CLI::IsMember({"man", "bash", "zsh", "fish"}).description(""));
  command.add_option("--out", options->out, "The file; standard output if not given")
      ->type_name("FILE");
  command.callback([options, &command] {
    std::vector<Place> places;
    Gather(*command.get_parent(), "", places);
    std::ostringstream page;
    const auto print = options->kind == "man"    ? PrintMan
                       : options->kind == "bash" ? PrintBash
                       : options->kind == "zsh"  ? PrintZsh
                                                 : PrintFish;
    print(page, places);
    WriteOutput(options->out, page.str());
  });
}

}  // namespace zenta::zentactl
