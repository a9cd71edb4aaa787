// What a command says of its work: rows of a label and a value. A person gets them in two columns, a
// program (--json) as one JSON object; with --quiet nobody gets anything.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zenta::zentactl {

// How a command speaks; every command has these options.
struct Speech {
  bool json = false;
  bool quiet = false;
};

// Adds --json and --quiet to `command`; they fill `speech`, which has to live as long as the command.
void AddSpeechOptions(CLI::App& command, Speech& speech);

// Adds --quiet alone, to a command whose result is a file's contents.
void AddQuietOption(CLI::App& command, Speech& speech);

class Report {
 public:
  // The label is a word or two, the JSON key the same with underscores. `value` may be foreign text;
  // `remark` stands behind it in parentheses, for people only.
  Report& Add(std::string label, std::string value, std::string remark = {});
  Report& Add(std::string label, std::uint64_t value, std::string remark = {});
  // For programs only.
  Report& AddFlag(std::string label, bool value);

  void Print(const Speech& speech, std::ostream& out) const;

 private:
  struct Row {
    std::string label;
    std::variant<std::string, std::uint64_t, bool> value;
    std::string remark;
  };

  void PrintColumns(std::ostream& out) const;
  void PrintJson(std::ostream& out) const;

  std::vector<Row> rows_;
};

}  // namespace zenta::zentactl
