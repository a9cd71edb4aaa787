// The commands of `zentactl dict`, and the options that several of them have.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <string>

#include "tools/zentactl/dict_pairs.h"

namespace zenta::zentactl {

void DefineDictBuild(CLI::App& command);
void DefineDictMerge(CLI::App& command);
void DefineDictGet(CLI::App& command);
void DefineDictPrefix(CLI::App& command);
void DefineDictDump(CLI::App& command);
void DefineDictCheck(CLI::App& command);
void DefineDictStats(CLI::App& command);
void DefineDictDiff(CLI::App& command);

// Adds --bits to a command that reads images. Without the option `bits` keeps its value.
inline void AddBitsOption(CLI::App& command, unsigned& bits) {
  command.add_option("--bits", bits, "Bits of a key's unit; found if not given")
      ->type_name("8|16")
      ->check(CLI::IsMember({8u, 16u}).description(""));
}

// Adds the image that a command reads, and --bits.
inline void AddImageOptions(CLI::App& command, std::filesystem::path& image, unsigned& bits) {
  command.add_option("IMAGE", image, "The dictionary image; - is standard input")
      ->type_name("")
      ->required();
  AddBitsOption(command, bits);
}

// Adds --separator. Without the option `separator` keeps its value.
inline void AddSeparatorOption(CLI::App& command, char& separator, const std::string& text) {
  command
      .add_option_function<std::string>(
          "--separator",
          [&separator](const std::string& name) {
            const auto found = SeparatorOf(name);
            if (!found) throw CLI::ValidationError("--separator", "'" + name + "' is no separator");
            separator = *found;
          },
          text)
      ->type_name("tab|space|comma|CHAR");
}

}  // namespace zenta::zentactl
