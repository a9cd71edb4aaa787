// zentactl dict check and diff.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/common/terminal_text.h"
#include "tools/zentactl/dict_commands.h"
#include "tools/zentactl/dict_image.h"
#include "tools/zentactl/dict_order.h"
#include "tools/zentactl/dict_result.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::InputName;
using tools::IsStandard;
using tools::Refusal;
using tstl::DictFault;

// ---- check

struct CheckOptions {
  fs::path image;
  unsigned bits = 0;
  Speech speech;
};

std::string FaultText(const DictFault& fault) {
  const std::string record =
      "byte " + std::to_string(fault.offset) + ": bucket " + std::to_string(fault.bucket) + ": ";
  switch (fault.kind) {
    case DictFault::Kind::kNone:
      return "";
    case DictFault::Kind::kNoImage:
      return "it is empty";
    case DictFault::Kind::kNoMemory:
      throw Failure("out of memory");
    case DictFault::Kind::kTableCut:
      return "byte " + std::to_string(fault.offset) + ": it ends inside its table, after " +
             std::to_string(fault.bucket) + " buckets";
    case DictFault::Kind::kOffset:
      return record + "no record can begin there";
    case DictFault::Kind::kOutside:
      return record + "the record passes the end of the image";
    case DictFault::Kind::kShared:
      return record + "the record lies over another one";
    case DictFault::Kind::kPadding:
      return record + "what follows the record's key is not zero";
    case DictFault::Kind::kWrongBucket:
      return record + "the record's key belongs to another bucket";
  }
  return "";
}

// Names the first key that is stored twice; empty if there is none. Such an image is well-formed,
// but a look-up finds only one of the two records. Counts the keys.
template <class T>
std::string DoubleKey(const Dict<T>& dict, std::uint64_t& keys) {
  std::string fault;
  dict.for_each_bk([&](const tstl::BufferDictNode<T>& node) {
    ++keys;
    const auto* const found = dict.find(node.key());
    if (found == &node) return true;
    KeyText text;
    fault = "the key " + std::string(text.Of(node.key())) + " is there twice, with the values " +
            std::to_string(found->value()) + ", which is found, and " +
            std::to_string(node.value());
    return false;
  });
  return fault;
}

// The first fault; empty for an image that is whole.
std::string FaultOf(const Image& image, std::uint64_t& keys) {
  return image.Visit([&](const auto& dict) {
    const std::string fault = FaultText(dict.find_fault());
    return fault.empty() ? DoubleKey(dict, keys) : fault;
  });
}

void Check(const CheckOptions& options) {
  std::uint64_t keys = 0;
  Report report;
  report.Add("image", InputName(options.image));
  std::string fault = IsStandard(options.image) ? "" : HeaderFault(options.image);
  if (fault.empty()) {
    const Image image(options.image, options.bits, Image::IfUnknown::kTake8);
    report.Add("bits", std::uint64_t{image.bits()}).Add("bytes", std::uint64_t{image.length()});
    fault = FaultOf(image, keys);
  }
  report.AddFlag("whole", fault.empty());
  if (fault.empty()) {
    report.Add("keys", keys).Add("result", "whole");
  } else {
    report.Add("fault", fault);
  }
  report.Print(options.speech, std::cout);
  if (!fault.empty()) throw Refusal("");
}

// ---- diff

struct DiffOptions {
  fs::path first, second;
  unsigned bits = 0;
  bool count = false;
  Speech speech;
};

// A record that only one of two images has, or that has another value in the other one. Null where
// an image does not have it.
template <tstl::Unit T>
struct Difference {
  DictEntry<T> entry;
  const tstl::BufferDictNode<T>* first;
  const tstl::BufferDictNode<T>* second;
};

template <tstl::Unit T>
class Differences {
 public:
  Differences(const Image& first, const Image& second) {
    Walk(first, [&](const Node& node) {
      const Node* const other = second.Of<T>()->find(node.key());
      if (other != nullptr && other->value() == node.value()) return;
      other == nullptr ? ++removed_ : ++changed_;
      rows_.push_back({DictEntry<T>(node), &node, other});
    });
    Walk(second, [&](const Node& node) {
      if (first.Of<T>()->match(node.key())) return;
      ++added_;
      rows_.push_back({DictEntry<T>(node), nullptr, &node});
    });
    std::sort(rows_.begin(), rows_.end(), [](const auto& a, const auto& b) {
      return DictEntry<T>::IsKeyBefore(a.entry, b.entry);
    });
  }

  [[nodiscard]] bool none() const { return rows_.empty(); }
  [[nodiscard]] const std::vector<Difference<T>>& rows() const { return rows_; }
  [[nodiscard]] Report Counts() const {
    Report report;
    report.AddFlag("equal", none())
        .Add("added", added_)
        .Add("removed", removed_)
        .Add("changed", changed_);
    return report;
  }

 private:
  using Node = tstl::BufferDictNode<T>;

  template <class Visit>
  static void Walk(const Image& image, Visit visit) {
    const bool is_whole =
        image.Of<T>()->for_each_bk([&](const Node& node) { return visit(node), true; });
    if (!is_whole) throw image.Damaged();
  }

  std::vector<Difference<T>> rows_;
  std::uint64_t added_ = 0, removed_ = 0, changed_ = 0;
};

template <tstl::Unit T>
void Print(const Differences<T>& differences) {
  ResultFile file("-");
  ListWriter list(file, '\t');
  KeyText text;
  for (const auto& [entry, first, second] : differences.rows()) {
    const char* const sign = second == nullptr ? "- " : first == nullptr ? "+ " : "  ";
    const std::string key = sign + std::string(text.Of(entry.node->key()));
    if (first != nullptr && second != nullptr) {
      list.Key(key + '\t' + std::to_string(first->value()) + " -> " +
               std::to_string(second->value()));
    } else {
      list.Pair(key, entry.node->value());
    }
  }
  list.Flush();
}

template <tstl::Unit T>
void DiffOf(const Image& first, const Image& second, const DiffOptions& options) {
  const Differences<T> differences(first, second);
  if (options.speech.json || options.count) {
    differences.Counts().Print(options.speech, std::cout);
  } else if (!options.speech.quiet) {
    Print(differences);
  }
  if (!differences.none()) throw Refusal("");
}

void Diff(const DiffOptions& options) {
  if (IsStandard(options.first) && IsStandard(options.second)) {
    throw Failure("both images cannot be read from standard input; give one of them by its name");
  }
  const Image first(options.first, options.bits), second(options.second, options.bits);
  if (first.bits() != second.bits()) {
    throw Failure("keys of 8 bits and of 16 cannot be compared: " + first.name() + " has " +
                  std::to_string(first.bits()) + ", " + second.name() + " has " +
                  std::to_string(second.bits()));
  }
  first.bits() == 8 ? DiffOf<unsigned char>(first, second, options)
                    : DiffOf<unsigned short>(first, second, options);
}

}  // namespace

void DefineDictCheck(CLI::App& command) {
  const auto options = std::make_shared<CheckOptions>();
  AddImageOptions(command, options->image, options->bits);
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Checks every byte and reports the first fault. Exit status 1 if there is one.\n"
      "\n"
      "Example:\n"
      "  zentactl dict check words.image");
  command.callback([options] { Check(*options); });
}

void DefineDictDiff(CLI::App& command) {
  const auto options = std::make_shared<DiffOptions>();
  command.add_option("FIRST", options->first, "A dictionary image")->type_name("")->required();
  command.add_option("SECOND", options->second, "Another; one of them may be - for standard input")
      ->type_name("")
      ->required();
  AddBitsOption(command, options->bits);
  command.add_flag("--count", options->count,
                   "Report only how many keys differ, not which (as --json)");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "Reports which keys differ, in the order of keys: - is only in the first, + only in the\n"
      "second, others have two values. Exit status 1 if any does.\n"
      "\n"
      "Example:\n"
      "  zentactl dict diff old.image new.image");
  command.callback([options] { Diff(*options); });
}

}  // namespace zenta::zentactl
