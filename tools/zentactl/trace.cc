#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "corelib/containers/chunk.h"
#include "engine/trace/trace_file.h"
#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/output_file.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/progress.h"
#include "tools/zentactl/report.h"
#include "tools/zentactl/trace_csv.h"
#include "tools/zentactl/trace_data.h"
#include "tools/zentactl/trace_findings.h"
#include "tools/zentactl/trace_page.h"
#include "tools/zentactl/trace_summary.h"
#include "tools/zentactl/trace_svg.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::NoteInput;
using tools::OutputName;
using tools::Refusal;
using tools::SystemFailure;
using tools::WriteOutput;
using trace::TraceReader;
using trace::TraceRecord;

struct TraceOptions {
  fs::path file;
  fs::path svg, html, csv;  // outputs; empty: not wanted
  bool check = false;
  Speech speech;

  // The outputs that are wanted, with their labels in the summary.
  [[nodiscard]] std::vector<std::pair<std::string, fs::path>> Outputs() const {
    std::vector<std::pair<std::string, fs::path>> outputs;
    for (const auto& [what, path] : {std::pair("picture", svg), {"page", html}, {"table", csv}}) {
      if (!path.empty()) outputs.emplace_back(what, path);
    }
    return outputs;
  }
};

// Of two outputs with one name only the later would be left.
void RefuseSamePlace(const TraceOptions& options) {
  const auto outputs = options.Outputs();
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (outputs[i].second.lexically_normal() == outputs[j].second.lexically_normal()) {
        throw Failure("both the " + outputs[j].first + " and the " + outputs[i].first +
                      " would go to " + OutputName(outputs[i].second) + "; give them two names");
      }
    }
  }
}

// Bytes of a regular file; 0 if it is something else.
std::uint64_t SizeOf(const fs::path& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  return error ? 0 : size;
}

// Gives every record of the file to `data`, `findings` and `csv`, which may be null.
void Read(TraceReader& reader, const TraceOptions& options, TraceData& data,
          TraceFindings& findings, TraceCsv* csv) {
  // The reader opens files by name; /dev/stdin exists on Linux and on a Mac.
  const fs::path opened = IsStandard(options.file) ? "/dev/stdin" : options.file;
  Progress progress("reading", options.speech.quiet);
  if (reader.Open(opened.c_str())) {
    NoteInput(opened);
    const std::uint64_t size = SizeOf(opened);
    tstl::Chunk arena;
    for (TraceRecord record; reader.Next(record, arena); arena.rewind()) {
      const std::vector<TouchKeys> keys = data.Add(record);
      findings.Check(record);
      if (csv != nullptr && !keys.empty()) csv->Add(record, keys, data);
      progress.Show(size == 0 ? reader.bytes() : std::min(reader.bytes(), size), size);
    }
  }
  const std::string name = InputName(options.file);
  if (reader.error() != 0) throw SystemFailure("cannot read " + name, reader.error());
  if (data.totals.records() != 0) return;
  throw Failure("no trace record in " + name + ": " +
                (reader.bad_lines() != 0 ? Describe(reader.first_fault()) : "it is empty"));
}

// Makes all texts before it writes the first file, so that a failure leaves the old files.
void WritePictures(const TraceData& data, const TraceOptions& options) {
  if (data.layouts.kept().empty()) {
    throw Failure("nothing to draw: the trace has neither a layout nor touches");
  }
  const std::string title = fs::path(InputName(options.file)).filename().string();
  const std::string svg = options.svg.empty() ? "" : DrawTrace(data, title);
  const std::string html = options.html.empty() ? "" : MakeTracePage(data, title);
  if (!options.svg.empty()) WriteOutput(options.svg, svg);
  if (!options.html.empty()) WriteOutput(options.html, html);
}

void Trace(const TraceOptions& options) {
  RefuseSamePlace(options);
  TraceReader reader;
  TraceFindings findings(reader);
  TraceData data;
  std::optional<TraceCsv> csv;
  if (!options.csv.empty()) csv.emplace(options.csv);
  Read(reader, options, data, findings, csv ? &*csv : nullptr);
  if (!options.svg.empty() || !options.html.empty()) WritePictures(data, options);
  if (csv) csv->Finish();

  TraceSummary summary{InputName(options.file), reader, data.totals, findings, {}};
  bool to_standard = false;  // an output goes to standard output, so the summary to standard error
  for (const auto& [what, path] : options.Outputs()) {
    to_standard = to_standard || IsStandard(path);
    summary.written.emplace_back(what, OutputName(path));
  }
  if (!options.speech.quiet) {
    std::ostream& out = to_standard ? std::cerr : std::cout;
    options.speech.json ? summary.PrintJson(out) : summary.Print(out);
  }
  if (options.check && (reader.bad_lines() != 0 || findings.count() != 0)) throw Refusal("");
}

void AddOutput(CLI::App& command, const char* name, fs::path& path, const char* what) {
  command.add_option(name, path, what)
      ->type_name("OUT")
      ->check(CLI::Validator([](const std::string& file) { return file.empty() ? "no name" : ""; },
                             ""));
}

}  // namespace

void DefineTrace(CLI::App& command) {
  const auto options = std::make_shared<TraceOptions>();
  command
      .add_option("FILE", options->file,
                  "The trace, a JSON record on each line; - is standard input")
      ->type_name("")
      ->required();
  AddOutput(command, "--svg", options->svg, "Draw a picture of it");
  AddOutput(command, "--html", options->html, "Make a page of it, to play and to search");
  AddOutput(command, "--csv", options->csv, "Write its touches as a table");
  command.add_flag("--check", options->check, "Exit status 1 if anything was ignored");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Reports what a trace of the on-screen keyboard holds: records of each kind, pads, keys,\n"
      "touches, times, of the whole trace however long it is. Lines that are no records are\n"
      "counted, and the first of them is explained. Values that a reader ignores are counted for\n"
      "each member, with the reason and the line of the first one.\n"
      "\n"
      "The picture opens in a browser: each layout with its keys, to scale, and on them the "
      "touches\n"
      "that came after it, numbered and coloured from the first to the last; from about 300 "
      "touches\n"
      "on a heat map. The page shows the same with a time line that can be played, a list of the\n"
      "inputs, and every touch. It is one file, which loads nothing from anywhere. Both show up "
      "to\n"
      "100,000 touches, those of a longer trace spread over its whole length.\n"
      "\n"
      "The table (CSV) has a row for each touch: input, touch, time, x, y, pad, layout, the keys "
      "that\n"
      "were hit and meant, the distance from the key's middle (1: on its edge), text and code.\n"
      "\n"
      "A file is replaced if it exists.\n"
      "\n"
      "Examples:\n"
      "  zentactl trace examples/trace.jsonl --html trace.html\n"
      "  zentactl trace - --check --quiet < examples/trace.jsonl && echo nothing ignored");
  command.callback([options] { Trace(*options); });
}

}  // namespace zenta::zentactl
