// The result of a command as rows of a label and a value. They are printed in two columns for
// people, or as one JSON object for programs (--json). With --quiet nothing is printed.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zenta::zentactl {

// The options for what a command prints. A command whose result is a file's contents has no --json.
struct Speech {
  bool json = false;
  bool quiet = false;
};

// Adds --json and --quiet to `command`. They set `speech`, which must outlive `command`.
void AddSpeechOptions(CLI::App& command, Speech& speech);

// Adds --quiet alone.
void AddQuietOption(CLI::App& command, Speech& speech);

class Report {
 public:
  // Adds a row. Its JSON key is the label with underscores for blanks. `value` may be foreign text.
  // `remark` follows it in parentheses and is left out of JSON.
  Report& Add(std::string label, std::string value, std::string remark = {});
  Report& Add(std::string label, std::uint64_t value, std::string remark = {});
  // Adds a row that only JSON has.
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
