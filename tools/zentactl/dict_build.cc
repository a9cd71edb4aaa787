#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "corelib/containers/dict/dict_builder.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/dict_commands.h"
#include "tools/zentactl/dict_image.h"
#include "tools/zentactl/dict_lines.h"
#include "tools/zentactl/dict_pairs.h"
#include "tools/zentactl/dict_result.h"
#include "tools/zentactl/progress.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::ForTerminal;
using tools::InputName;
using tools::IsStandard;
using tools::OutputName;
using tools::SystemFailure;

constexpr std::uint64_t kMiB = 1 << 20;

// The options of build and merge.
struct BuildOptions {
  std::vector<fs::path> inputs;
  fs::path out;
  std::string merge = "last";
  std::uint64_t memory = 512 * kMiB;
  fs::path temporary;  // folder; empty: the system's
  unsigned bits = 8;   // merge: 0 stands for those of the images
  PairRule rule;
  bool strict = false;
  Speech speech;
};

// Set when a sum was cut to the 31 bits of an image's values. A merge function is a plain function
// pointer, so it has nowhere else to note this.
bool some_sum_was_cut = false;

std::uint64_t Sum(std::uint64_t before, std::uint64_t after) {
  const std::uint64_t sum = before + after;
  some_sum_was_cut = some_sum_was_cut || sum > kGreatestValue;
  return std::min<std::uint64_t>(sum, kGreatestValue);
}

const std::map<std::string, tstl::DictMerge>& Merges() {
  static const std::map<std::string, tstl::DictMerge> merges = {
      {"last", tstl::dict_merge::last},
      {"first", tstl::dict_merge::first},
      {"sum", Sum},
      {"max", tstl::dict_merge::max},
  };
  return merges;
}

void Note(const BuildOptions& options, const char* command, const std::string& text) {
  if (options.speech.quiet) return;
  std::cerr << "zentactl dict " << command << ": note: " << ForTerminal(text) << '\n';
}

// Builds an image and writes it to options.out.
template <tstl::Unit T>
class Build {
 public:
  explicit Build(const BuildOptions& options)
      : options_(options), result_(options.out), builder_(Merges().at(options.merge)) {
    folder_ = options.temporary.empty() ? fs::temp_directory_path() : options.temporary;
    if (std::error_code none; !fs::is_directory(folder_, none)) {
      throw Failure("no folder for temporary files: " + folder_.string());
    }
    builder_.set_memory(options.memory, folder_.c_str());
  }

  void Add(tstl::BufferRef<T> key, std::uint32_t value) {
    ++pairs_;
    if (!builder_.add(key, value)) Fail();
  }
  [[nodiscard]] std::uint64_t pairs() const { return pairs_; }

  // Writes the image and gives it its name. Adds its numbers to `report`.
  void Finish(const char* command, Report& report) {
    if (pairs_ == 0) throw Failure("nothing to build: there is no key in what was read");
    if (builder_.write(result_.descriptor()) != 0) Fail();
    if (some_sum_was_cut) ReportCutSums(command);
    if (result_.is_file()) Describe(report);
    result_.Commit();
  }

 private:
  [[noreturn]] void Fail() {
    if (builder_.error() == ENOMEM) throw Failure("out of memory; --memory gives a lower bound");
    if (builder_.error() == EFBIG) {
      throw Failure(
          "cannot write " + OutputName(options_.out) +
          ": it would be longer than an image can be (4 GiB), or than a file may be here");
    }
    throw SystemFailure(
        "cannot write " + OutputName(options_.out) + ", or temporary files in " + folder_.string(),
        builder_.error());
  }

  void ReportCutSums(const char* command) {
    const std::string what = "some sums are past 2147483647";
    if (options_.strict) throw Failure(what + (result_.is_file() ? "; nothing was written" : ""));
    Note(options_, command, what + ", and are stored as that");
  }

  void Describe(Report& report) {
    tstl::dict_format::Header header;
    if (pread(result_.descriptor(), &header, sizeof header, 0) != sizeof header) {
      throw SystemFailure("cannot read " + options_.out.string() + " back");
    }
    report.Add("keys", header.key_cnt.get())
        .Add("bits", std::uint64_t{8 * sizeof(T)})
        .Add("image bytes", header.length.get());
  }

  const BuildOptions& options_;
  ResultFile result_;
  fs::path folder_;
  tstl::DictBuilder<T> builder_;
  std::uint64_t pairs_ = 0;
};

// ---- build

// Adds the pairs of all lists to a build, and counts lines and faults.
template <tstl::Unit T>
class ListReading {
 public:
  ListReading(const BuildOptions& options, const ListFiles& files, Build<T>& build)
      : options_(options),
        files_(files),
        build_(build),
        rule_(options.rule),
        progress_("reading", options.speech.quiet) {}

  void Read() {
    for (const fs::path& path : files_.paths) ReadFile(path);
  }

  [[nodiscard]] const LineFaults& faults() const { return faults_; }
  [[nodiscard]] std::uint64_t lines() const { return lines_; }
  [[nodiscard]] char separator() const { return rule_.separator; }

 private:
  static constexpr std::size_t kSample = 64 << 10;  // bytes in which the separator is looked for

  void ReadFile(const fs::path& path) {
    const std::string name = InputName(path);
    const bool is_known = rule_.is_plain || rule_.separator != 0;
    LineReader reader(path, is_known ? 1 : kSample);
    if (!is_known) rule_.separator = Separator(reader.front(), name);
    for (std::string_view line; reader.Next(line);) {
      if (line.empty()) continue;
      ++lines_;
      ListPair pair;
      const LineFault fault = SplitLine(line, reader.is_cut(), rule_, pair);
      if (fault == LineFault::kNone) {
        build_.Add(text_.Key<T>(pair.key), pair.value);
      } else {
        faults_.Add(fault, name, reader.number(), line);
      }
      if (lines_ % 4096 == 0) Show(before_ + reader.bytes_read());
    }
    before_ += reader.bytes_read();
  }

  // The separator of a file that begins with `text`. 0 for a file without text: the next file
  // decides.
  char Separator(std::string_view text, const std::string& name) const {
    if (text.empty()) return 0;
    const std::optional<char> found = FindSeparator(text, rule_);
    if (found) return *found;
    throw Failure(name +
                  ": no separator is known by which its lines are a key and a number; give "
                  "--separator or --value-column, or --plain for a list of keys alone");
  }

  // A file may have grown since its size was asked for.
  void Show(std::uint64_t read) {
    progress_.Show(files_.bytes == 0 ? read : std::min(read, files_.bytes), files_.bytes);
  }

  const BuildOptions& options_;
  const ListFiles& files_;
  Build<T>& build_;
  PairRule rule_;
  KeyText text_;
  Progress progress_;
  LineFaults faults_;
  std::uint64_t lines_ = 0;
  std::uint64_t before_ = 0;  // bytes of the files that are done
};

void AddFaults(const LineFaults& faults, const BuildOptions& options, Report& report) {
  report.Add("not taken", faults.count());
  for (std::size_t i = 1; i < kLineFaults; ++i) {
    const auto fault = static_cast<LineFault>(i);
    if (faults.count(fault) != 0 || options.speech.json)
      report.Add(FaultLabel(fault), faults.count(fault));
  }
  if (faults.count() == 0) return;
  if (!options.speech.quiet) faults.Print("zentactl dict build: note: ", std::cerr);
  if (options.strict) {
    throw Failure("lines that cannot be taken: " + std::to_string(faults.count()) +
                  "; nothing was written; the first: " + faults.first());
  }
}

template <tstl::Unit T>
void BuildOf(const BuildOptions& options) {
  const ListFiles files = FindListFiles(options.inputs);
  for (const std::string& note : files.notes) Note(options, "build", note);
  Build<T> build(options);
  Report report;
  report.Add("built", OutputName(options.out));
  {
    ListReading<T> reading(options, files, build);
    reading.Read();
    report.Add("files", files.paths.size()).Add("lines", reading.lines());
    if (!options.rule.is_plain && reading.separator() != 0) {
      report.Add("separator", SeparatorName(reading.separator()),
                 options.rule.separator == 0 ? "found" : "");
    }
    AddFaults(reading.faults(), options, report);
  }
  build.Finish("build", report);
  report.Print(options.speech, IsStandard(options.out) ? std::cerr : std::cout);
}

// ---- merge

template <tstl::Unit T>
void MergeOf(const BuildOptions& options, const std::vector<std::unique_ptr<Image>>& images) {
  Build<T> build(options);
  Progress progress("merging", options.speech.quiet);
  std::uint64_t done = 0, all = 0;
  for (const auto& image : images) all += image->length();
  for (const auto& image : images) {
    const std::uint64_t before = done;
    const bool is_whole =
        image->template Of<T>()->for_each_bk([&](const tstl::BufferDictNode<T>& node) {
          build.Add(node.key(), node.value());
          done += node.node_size();
          if (build.pairs() % 4096 == 0) progress.Show(done, all);
          return true;
        });
    if (!is_whole) throw image->Damaged();
    done = before + image->length();
  }
  Report report;
  report.Add("merged", OutputName(options.out)).Add("images", images.size());
  report.Add("keys before", build.pairs());
  build.Finish("merge", report);
  report.Print(options.speech, IsStandard(options.out) ? std::cerr : std::cout);
}

void Merge(const BuildOptions& options) {
  if (std::count_if(options.inputs.begin(), options.inputs.end(), IsStandard) > 1) {
    throw Failure("standard input can be read once only; - was given twice");
  }
  std::vector<std::unique_ptr<Image>> images;
  for (const fs::path& path : options.inputs) {
    images.push_back(std::make_unique<Image>(path, options.bits));
    if (images.back()->bits() != images.front()->bits()) {
      throw Failure("keys of 8 bits and of 16 cannot be merged: " + images.front()->name() +
                    " has " + std::to_string(images.front()->bits()) + ", " +
                    images.back()->name() + " has " + std::to_string(images.back()->bits()));
    }
  }
  images.front()->bits() == 8 ? MergeOf<unsigned char>(options, images)
                              : MergeOf<unsigned short>(options, images);
}

// ---- Options

void AddBuildOptions(CLI::App& command, BuildOptions& options) {
  command.add_option("--out", options.out, "The image; replaced if it exists")
      ->type_name("FILE")
      ->required();
  command.add_option("--merge", options.merge, "Which value a key gets that comes again")
      ->type_name("last|first|sum|max")
      ->check(CLI::IsMember({"last", "first", "sum", "max"}).description(""))
      ->capture_default_str();
  command
      .add_option("--memory", options.memory,
                  "Memory for keys; what is more goes to temporary files")
      ->type_name("SIZE")
      ->default_str("512M")
      ->transform(CLI::AsSizeValue(false).description(""))
      ->check(CLI::Range(kMiB, kMiB << 20).description(""));
  command
      .add_option("--temporary", options.temporary, "Folder for them; the system's if not given")
      ->type_name("DIR");
  command.add_flag("--strict", options.strict, "Write nothing if anything is not taken as it is");
  AddSpeechOptions(command, options.speech);
}

}  // namespace

void DefineDictBuild(CLI::App& command) {
  const auto options = std::make_shared<BuildOptions>();
  options->rule.separator = 0;
  command
      .add_option("INPUT", options->inputs,
                  "Word lists, or folders of part files; - is standard input")
      ->type_name("")
      ->required();
  command.add_option("--bits", options->bits, "Bits of a key's unit: UTF-8 or UTF-16")
      ->type_name("8|16")
      ->check(CLI::IsMember({8u, 16u}).description(""))
      ->capture_default_str();
  AddSeparatorOption(command, options->rule.separator,
                     "What stands between key and value; found if not given");
  command
      .add_option("--value-column", options->rule.value_column,
                  "The value's column, from 2 on; the last one if not given")
      ->type_name("N")
      ->check(CLI::Range(2u, 1000u).description(""));
  const auto plain = command.add_flag("--plain", options->rule.is_plain, "Lines are keys alone")
                         ->excludes("--separator")
                         ->excludes("--value-column");
  command
      .add_option("--value", options->rule.plain_value, "The value of each of them; 0 if not given")
      ->type_name("N")
      ->check(CLI::Range(0u, kGreatestValue).description(""))
      ->needs(plain);
  AddBuildOptions(command, *options);
  command.footer(
      "A word list has a key and a number on each line. It may be compressed (.gz, .zst). A "
      "folder\n"
      "stands for its files part-*, as distributed engines leave them. A line is split at its "
      "last\n"
      "separator; with --value-column 2, 'key 12 tag' is the key with 12. Lines that are no pair "
      "are\n"
      "counted, the first ten of each kind named. The image depends on the pairs alone and not on\n"
      "their order, unless --merge is first or last. It is replaced in one step when all is "
      "written.\n"
      "\n"
      "Examples:\n"
      "  zentactl dict build words.txt more.txt.gz --merge sum --out words.image\n"
      "  zentactl dict build counts/ --memory 2G --out words.image\n"
      "  sort words.txt | uniq -c | sed 's/^ *\\([0-9]*\\) \\(.*\\)/\\2\\t\\1/' |\n"
      "    zentactl dict build - --separator tab --out words.image");
  command.callback([options] {
    options->rule.bits = options->bits;
    options->bits == 8 ? BuildOf<unsigned char>(*options) : BuildOf<unsigned short>(*options);
  });
}

void DefineDictMerge(CLI::App& command) {
  const auto options = std::make_shared<BuildOptions>();
  options->bits = 0;
  command.add_option("IMAGE", options->inputs, "Dictionary images; - is standard input")
      ->type_name("")
      ->required();
  AddBitsOption(command, options->bits);
  AddBuildOptions(command, *options);
  command.footer(
      "Word lists are merged by 'zentactl dict build', which takes several.\n"
      "\n"
      "Example:\n"
      "  zentactl dict merge base.image mine.image --merge sum --out words.image");
  command.callback([options] { Merge(*options); });
}

}  // namespace zenta::zentactl
