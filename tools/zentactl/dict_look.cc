// zentactl dict get, prefix and dump.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/io/json/json_write.h"
#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/zentactl/dict_commands.h"
#include "tools/zentactl/dict_image.h"
#include "tools/zentactl/dict_lines.h"
#include "tools/zentactl/dict_order.h"
#include "tools/zentactl/dict_result.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::IsStandard;
using tools::Refusal;
using Text = tstl::BufferRef<unsigned char>;

struct LookOptions {
  fs::path image;
  unsigned bits = 0;
  std::vector<std::string> keys;  // of prefix: one
  DictOrder order = DictOrder::kKey;
  std::uint64_t limit = UINT64_MAX;
  char separator = '\t';
  bool is_plain = false;
  fs::path out = "-";
  Speech speech;
};

// Writes the results of look-ups, as lines or as members of one JSON object.
class Answers {
 public:
  explicit Answers(const LookOptions& options)
      : speech_(options.speech), file_(options.out), list_(file_, options.separator) {
    if (speech_.json) json_.begin_object();
  }

  void Add(std::string_view key, std::uint32_t value) {
    if (!speech_.json) return list_.Pair(key, value);
    json_.key(Text(key)), json_.num(value);
  }
  void Finish() {
    if (speech_.json) {
      json_.end_object();
      if (!json_.good()) throw Failure("out of memory");
      file_.Write(json_.output().std_view());
      file_.Write("\n");
    }
    list_.Flush();
    file_.Commit();
  }

 private:
  const Speech& speech_;
  ResultFile file_;
  ListWriter list_;
  tstl::JsonWrite json_;
};

// ---- get

template <tstl::Unit T>
void GetFrom(const Image& image, const LookOptions& options) {
  Answers answers(options);
  KeyText text;
  std::uint64_t asked = 0, missing = 0;
  std::string first_missing;
  const auto get = [&](std::string_view key) {
    ++asked;
    const auto* const node = image.Of<T>()->find(text.Key<T>(key));
    if (node != nullptr) return answers.Add(key, node->value());
    if (missing++ == 0) first_missing = key;
  };
  for (const std::string& key : options.keys) {
    if (!IsStandard(key)) {
      get(key);
      continue;
    }
    LineReader lines(key);
    for (std::string_view line; lines.Next(line);) {
      if (!line.empty()) get(line);
    }
  }
  answers.Finish();
  if (missing == 0) return;
  if (options.speech.quiet) throw Refusal("");
  const std::string others = std::to_string(missing - 1) + " more of " + std::to_string(asked);
  throw Refusal("not in " + image.name() + ": " + first_missing +
                (missing == 1 ? "" : " and " + others));
}

void Get(const LookOptions& options) {
  const auto dashes = std::count(options.keys.begin(), options.keys.end(), "-");
  if (dashes + IsStandard(options.image) > 1) {
    throw Failure("standard input can be read once only; - was given twice");
  }
  const Image image(options.image, options.bits);
  image.bits() == 8 ? GetFrom<unsigned char>(image, options)
                    : GetFrom<unsigned short>(image, options);
}

// ---- prefix

template <tstl::Unit T>
void PrefixIn(const Image& image, const LookOptions& options) {
  KeyText text;
  const tstl::BufferRef<T> start = text.Key<T>(options.keys.front());
  const auto entries = Records<T>(image, options.order, [start](const auto& node) {
    return node.key().sub_head(start.len()) == start;
  });
  Answers answers(options);
  KeyText key;
  const std::size_t shown = std::min<std::uint64_t>(options.limit, entries.size());
  for (std::size_t i = 0; i < shown; ++i) {
    answers.Add(key.Of(entries[i].node->key()), entries[i].node->value());
  }
  answers.Finish();
  if (!entries.empty()) return;
  throw Refusal(options.speech.quiet
                    ? ""
                    : "no key of " + image.name() + " begins with " + options.keys.front());
}

void Prefix(const LookOptions& options) {
  const Image image(options.image, options.bits);
  image.bits() == 8 ? PrefixIn<unsigned char>(image, options)
                    : PrefixIn<unsigned short>(image, options);
}

// ---- dump

// Writes records as lines, and counts those whose key no line can hold.
class Lines {
 public:
  Lines(ResultFile& file, const LookOptions& options)
      : list_(file, options.separator), is_plain_(options.is_plain) {}

  template <class Node>
  void Add(const Node& node) {
    const std::string_view key = text_.Of(node.key());
    if (key.empty() || key.find_first_of("\r\n") != key.npos) return static_cast<void>(++left_out_);
    ++written_;
    is_plain_ ? list_.Key(key) : list_.Pair(key, node.value());
  }
  void Flush() { list_.Flush(); }
  [[nodiscard]] std::uint64_t written() const { return written_; }
  [[nodiscard]] std::uint64_t left_out() const { return left_out_; }

 private:
  ListWriter list_;
  KeyText text_;
  bool is_plain_;
  std::uint64_t written_ = 0, left_out_ = 0;
};

template <tstl::Unit T>
void DumpOf(const Image& image, const LookOptions& options) {
  ResultFile file(options.out);
  Lines lines(file, options);
  if (options.order == DictOrder::kStored) {
    const bool is_whole = image.Of<T>()->for_each_bk(
        [&](const tstl::BufferDictNode<T>& node) { return lines.Add(node), true; });
    if (!is_whole) throw image.Damaged();
  } else {
    const auto all = [](const auto&) { return true; };
    for (const auto& entry : Records<T>(image, options.order, all)) lines.Add(*entry.node);
  }
  lines.Flush();
  file.Commit();
  if (!IsStandard(options.out)) {
    Report()
        .Add("dumped", image.name())
        .Add("keys", lines.written())
        .Add("left out", lines.left_out())
        .Add("written", options.out.string())
        .Print(options.speech, std::cout);
  }
  if (lines.left_out() == 0) return;
  throw Refusal("left out, because they are empty or hold a line end: " +
                std::to_string(lines.left_out()) + " keys");
}

void Dump(const LookOptions& options) {
  const Image image(options.image, options.bits);
  image.bits() == 8 ? DumpOf<unsigned char>(image, options)
                    : DumpOf<unsigned short>(image, options);
}

// ---- Options

using Options = std::shared_ptr<LookOptions>;

Options AddLookOptions(CLI::App& command) {
  auto options = std::make_shared<LookOptions>();
  AddImageOptions(command, options->image, options->bits);
  return options;
}

void AddOrder(CLI::App& command, DictOrder& order) {
  static const std::map<std::string, DictOrder> kOrders = {
      {"key", DictOrder::kKey}, {"value", DictOrder::kValue}, {"stored", DictOrder::kStored}};
  command
      .add_option_function<std::string>(
          "--order", [&order](const std::string& name) { order = kOrders.at(name); },
          "By key, by value with the greatest first, or as they\n"
          "stand in the image; by key if not given")
      ->type_name("key|value|stored")
      ->check(CLI::IsMember(kOrders).description(""));
}

}  // namespace

void DefineDictGet(CLI::App& command) {
  const Options options = AddLookOptions(command);
  command.add_option("KEY", options->keys, "Keys; - takes them from standard input, one a line")
      ->type_name("")
      ->required();
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Writes each key with its value. Exit status 1 if one is not there.\n"
      "\n"
      "Examples:\n"
      "  zentactl dict get words.image 你好 世界\n"
      "  cut -f1 queries.tsv | zentactl dict get words.image -");
  command.callback([options] { Get(*options); });
}

void DefineDictPrefix(CLI::App& command) {
  const Options options = AddLookOptions(command);
  command.add_option("PREFIX", options->keys, "What the keys begin with")
      ->type_name("")
      ->required()
      ->expected(1);
  AddOrder(command, options->order);
  command.add_option("--limit", options->limit, "No more keys than that")->type_name("N");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Looks at every key, since an image is searched by whole keys. Exit status 1 if none is "
      "there.\n"
      "\n"
      "Example:\n"
      "  zentactl dict prefix words.image 你 --order value --limit 10");
  command.callback([options] { Prefix(*options); });
}

void DefineDictDump(CLI::App& command) {
  const Options options = AddLookOptions(command);
  command.add_option("--out", options->out, "The list; standard output if not given")
      ->type_name("FILE");
  AddOrder(command, options->order);
  AddSeparatorOption(command, options->separator,
                     "What stands between key and value; a tab if not given");
  command.add_flag("--plain", options->is_plain, "Keys alone");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Writes a word list in UTF-8, of which 'zentactl dict build' makes the same image again. "
      "Keys\n"
      "that are empty or hold a line end cannot stand in a list: they are left out, and the exit\n"
      "status is 1. Two orders need memory for all keys, 16 bytes each; --order stored does not.\n"
      "\n"
      "Example:\n"
      "  zentactl dict dump words.image --out words.txt");
  command.callback([options] { Dump(*options); });
}

}  // namespace zenta::zentactl
