#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "corelib/containers/chunk.h"
#include "engine/records/ignored.h"
#include "engine/trace/actions.h"
#include "engine/trace/pads.h"
#include "engine/trace/trace_file.h"
#include "tools/common/failure.h"
#include "tools/common/inputs.h"
#include "tools/common/output_file.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/commands.h"
#include "tools/zentactl/report.h"
#include "tools/zentactl/trace_picture.h"
#include "tools/zentactl/trace_svg.h"
#include "tools/zentactl/trace_text.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using records::Ignored;
using tools::Failure;
using tools::ForTerminal;
using tools::InputName;
using tools::IsStandard;
using tools::NoteInput;
using tools::OutputName;
using tools::SystemFailure;
using tools::WriteOutput;
using trace::action_name;
using trace::pad_code;
using trace::TraceFault;
using trace::TraceKind;
using trace::TraceReader;
using trace::TraceRecord;

constexpr std::size_t kMaxPadsNamed = 20, kMaxIgnoredNamed = 20;

struct TraceOptions {
  fs::path file;
  fs::path svg;  // empty: no picture
  Speech speech;
};

// What the summary says of a trace.
class Tally {
 public:
  void Add(const TraceRecord& record);
  void Print(std::ostream& out) const;
  [[nodiscard]] std::uint64_t records() const {
    return kinds_[0] + kinds_[1] + kinds_[2] + kinds_[3];
  }

 private:
  void AddPad(const TraceRecord& record);
  void PrintKinds(std::ostream& out) const;
  void PrintTimes(std::ostream& out) const;

  std::uint64_t kinds_[4] = {};  // records of each TraceKind
  std::vector<std::string> pads_;
  bool more_pads_ = false;
  std::uint64_t keys_ = 0, touches_ = 0, times_ = 0;
  std::uint32_t first_time_ = std::numeric_limits<std::uint32_t>::max(), last_time_ = 0;
};

void Tally::Add(const TraceRecord& record) {
  ++kinds_[static_cast<std::size_t>(record.kind)];
  if (record.kind == TraceKind::kPad) AddPad(record);
  if (record.kind == TraceKind::kLayout) keys_ += record.keys.size();
  if (record.kind != TraceKind::kInput) return;
  touches_ += record.points.size();
  times_ += record.times.size();
  for (const std::uint32_t time : record.times) {
    first_time_ = std::min(first_time_, time);
    last_time_ = std::max(last_time_, time);
  }
}

void Tally::AddPad(const TraceRecord& record) {
  std::string name = Shown(record.pad_name, 40);
  if (pad_code(record.pad_name) == 0) name += " (no known pad)";
  if (std::ranges::find(pads_, name) != pads_.end()) return;
  more_pads_ = pads_.size() == kMaxPadsNamed;
  if (!more_pads_) pads_.push_back(name);
}

void Tally::PrintKinds(std::ostream& out) const {
  out << "records    " << records();
  const char* separator = ": ";
  for (const TraceKind kind : {TraceKind::kPad, TraceKind::kLayout, TraceKind::kInput}) {
    const auto code = static_cast<std::uint32_t>(kind);
    out << separator << kinds_[code] << ' ' << action_name(code).std_view();
    separator = ", ";
  }
  out << separator << kinds_[0] << " of other types\n";
}

void Tally::PrintTimes(std::ostream& out) const {
  out << "times      " << times_;
  if (times_ != 0) {
    out << ", from " << first_time_ << " to " << last_time_
        << " ms: " << Seconds(last_time_ - first_time_);
  }
  out << '\n';
}

void Tally::Print(std::ostream& out) const {
  PrintKinds(out);
  out << "pads       ";
  const char* separator = "";
  for (const std::string& name : pads_) {
    out << separator << name;
    separator = ", ";
  }
  out << (pads_.empty() ? "none"
          : more_pads_  ? ", and more"
                        : "")
      << "\nkeys       " << keys_ << " in " << Counted(kinds_[2], "layout", "layouts")
      << "\ntouches    " << touches_ << " in " << Counted(kinds_[1], "input", "inputs") << '\n';
  PrintTimes(out);
}

// What the reader ignored: which members for which reason, how often, and where first.
class IgnoredTally final : public records::IgnoredListener {
 public:
  explicit IgnoredTally(TraceReader& reader) : reader_(reader) { reader.Listen(this); }
  IgnoredTally(const IgnoredTally&) = delete;
  IgnoredTally& operator=(const IgnoredTally&) = delete;
  ~IgnoredTally() { reader_.Listen(nullptr); }

  void ignored(const Ignored& value) override;
  void Print(std::ostream& out) const;

 private:
  struct Row {
    std::string key;
    records::IgnoredReason reason;
    std::uint64_t count, first_line;
  };

  TraceReader& reader_;
  std::uint64_t count_ = 0, unnamed_ = 0;
  std::vector<Row> rows_;
};

void IgnoredTally::ignored(const Ignored& value) {
  ++count_;
  const std::string key = Shown(value.key, 40);
  const auto row = std::ranges::find_if(
      rows_, [&](const Row& other) { return other.reason == value.reason && other.key == key; });
  if (row != rows_.end()) {
    ++row->count;
  } else if (rows_.size() < kMaxIgnoredNamed) {
    rows_.push_back({key, value.reason, 1, reader_.lines()});
  } else {
    ++unnamed_;
  }
}

void IgnoredTally::Print(std::ostream& out) const {
  out << "ignored    " << Counted(count_, "value", "values") << '\n';
  for (const Row& row : rows_) {
    out << "           " << row.count << " of \"" << row.key
        << "\": " << records::ignored_reason_text(row.reason) << ", first in line "
        << row.first_line << '\n';
  }
  if (unnamed_ != 0) out << "           " << unnamed_ << " of other members\n";
}

std::string Describe(const TraceFault& fault) {
  return "line " + std::to_string(fault.line) + ", byte " +
         std::to_string(std::uint64_t{fault.position} + 1) + ": " +
         tstl::json_fault_text(fault.fault);
}

// Puts every record of the file into both.
void Read(TraceReader& reader, const fs::path& path, Tally& tally, TracePicture& picture) {
  // The reader opens files by their names; standard input has one on every system that this runs on.
  const fs::path opened = IsStandard(path) ? "/dev/stdin" : path;
  if (reader.Open(opened.c_str())) {
    NoteInput(opened);
    tstl::Chunk arena;
    for (TraceRecord record; reader.Next(record, arena); arena.rewind()) {
      tally.Add(record);
      picture.Add(record);
    }
  }
  if (reader.error() != 0) throw SystemFailure("cannot read " + InputName(path), reader.error());
  if (tally.records() != 0) return;
  throw Failure("no trace record in " + InputName(path) + ": " +
                (reader.bad_lines() != 0 ? Describe(reader.first_fault()) : "it is empty"));
}

void WritePicture(const TracePicture& picture, const TraceOptions& options) {
  if (picture.pads().empty()) {
    throw Failure("nothing to draw: the trace has neither a layout nor touches");
  }
  WriteOutput(options.svg,
              DrawTrace(picture, fs::path(InputName(options.file)).filename().string()));
}

void Trace(const TraceOptions& options) {
  TraceReader reader;
  Tally tally;
  IgnoredTally ignored(reader);
  TracePicture picture;
  Read(reader, options.file, tally, picture);
  if (!options.svg.empty()) WritePicture(picture, options);

  if (options.speech.quiet) return;
  std::ostream& out = IsStandard(options.svg) ? std::cerr : std::cout;
  out << "trace      " << ForTerminal(InputName(options.file)) << "  ("
      << Counted(reader.lines(), "line", "lines") << ")\n";
  tally.Print(out);
  out << "bad lines  " << reader.bad_lines();
  if (reader.bad_lines() != 0) out << ", the first: " << Describe(reader.first_fault());
  out << '\n';
  ignored.Print(out);
  if (!options.svg.empty()) out << "picture    " << ForTerminal(OutputName(options.svg)) << '\n';
}

}  // namespace

void DefineTrace(CLI::App& command) {
  const auto options = std::make_shared<TraceOptions>();
  command.add_option("FILE", options->file, "The trace: a record of JSON on each line")
      ->type_name("")
      ->required();
  command.add_option("--svg", options->svg, "Draw a picture of it; replaced if it exists")
      ->type_name("OUT");
  AddQuietOption(command, options->speech);
  command.footer(
      "Tells what a trace of the on-screen keyboard holds: records of each kind, pads, keys,\n"
      "touches, times. A line that is no record is counted, and the first of them explained. So "
      "are\n"
      "members that are unknown, of another type or out of range, which a reader ignores.\n"
      "\n"
      "The picture opens in a browser: each pad with its keys, to scale, and on them the touches\n"
      "that came after its layout, numbered and coloured from the first to the last. A very long\n"
      "trace is not drawn whole, and the picture says so.\n"
      "\n"
      "Example:\n"
      "  zentactl trace examples/trace.jsonl --svg trace.svg");
  command.callback([options] { Trace(*options); });
}

}  // namespace zenta::zentactl
