#include "tools/zentactl/commands.h"
#include "tools/zentactl/dict_commands.h"

namespace zenta::zentactl {

void DefineDict(CLI::App& command) {
  constexpr struct {
    const char* name;
    const char* summary;
    void (*define)(CLI::App&);
  } kCommands[] = {
      {"build", "make an image from word lists", DefineDictBuild},
      {"get", "look keys up", DefineDictGet},
      {"prefix", "list the keys that begin with a text", DefineDictPrefix},
      {"dump", "write an image as a word list", DefineDictDump},
      {"check", "check that an image is whole, or report what is wrong", DefineDictCheck},
      {"stats", "show or draw what takes space in an image, and how long its chains are",
       DefineDictStats},
      {"diff", "report where two images differ", DefineDictDiff},
      {"merge", "make one image from several", DefineDictMerge},
  };
  for (const auto& row : kCommands) row.define(*command.add_subcommand(row.name, row.summary));
  command.require_subcommand(1);
  command.footer(
      "Dictionary images, which hold words and a number for each and are searched where they lie.\n"
      "'zentactl dict COMMAND --help' explains a command.\n"
      "\n"
      "Examples:\n"
      "  zentactl dict build words.txt --out words.image\n"
      "  zentactl dict get words.image 你好\n"
      "  zentactl dict dump words.image --order value | head");
}

}  // namespace zenta::zentactl
