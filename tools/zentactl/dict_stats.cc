#include "tools/zentactl/dict_stats.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>

#include "tools/common/failure.h"
#include "tools/common/output_file.h"
#include "tools/zentactl/dict_commands.h"
#include "tools/zentactl/report.h"

namespace zenta::zentactl {
namespace {

namespace fs = std::filesystem;
using tools::IsStandard;
using tools::WriteOutput;

// Counts by size: a bar for each of the small sizes, then one for each doubling.
class Histogram {
 public:
  // `single`: sizes up to this, a power of two, have bars of their own.
  explicit Histogram(std::uint64_t single) : single_(single) {}

  void Add(std::uint64_t size, std::uint64_t cnt = 1) {
    const std::size_t bar = BarOf(size);
    if (counts_.size() <= bar) counts_.resize(bar + 1);
    counts_[bar] += cnt;
    greatest_ = std::max(greatest_, size);
  }
  [[nodiscard]] std::uint64_t greatest() const { return greatest_; }

  // The bars from the first to the last that is not zero.
  [[nodiscard]] std::vector<DictBar> Bars() const {
    std::vector<DictBar> bars;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
      if (counts_[i] != 0 || !bars.empty()) bars.push_back({Label(i), counts_[i]});
    }
    return bars;
  }

 private:
  [[nodiscard]] std::size_t BarOf(std::uint64_t size) const {
    if (size <= single_) return size;
    return single_ + static_cast<std::size_t>(std::bit_width((size - 1) / single_));
  }
  [[nodiscard]] std::string Label(std::size_t bar) const {
    if (bar <= single_) return std::to_string(bar);
    const std::uint64_t least = single_ << (bar - single_ - 1);
    return std::to_string(least + 1) + " to " + std::to_string(2 * least);
  }

  std::uint64_t single_;
  std::vector<std::uint64_t> counts_;
  std::uint64_t greatest_ = 0;
};

template <class T>
DictStats Measure(const Dict<T>& dict, const Image& image) {
  DictStats stats;
  stats.buckets = dict.bucket_cnt();
  stats.bytes = image.length();
  stats.least_value = ~0u;
  Histogram chains(4), lengths(8);
  std::uint64_t chain = 0, full = 0, compared = 0, key_bytes = 0, records = 0;
  const bool is_whole = dict.for_each_bk([&](const tstl::BufferDictNode<T>& node) {
    ++stats.keys;
    compared += ++chain;
    if (node.is_lastnode()) {
      chains.Add(std::exchange(chain, 0));
      ++full;
    }
    lengths.Add(node.len());
    key_bytes += node.len() * sizeof(T);
    records += node.node_size();
    stats.least_value = std::min(stats.least_value, node.value());
    stats.greatest_value = std::max(stats.greatest_value, node.value());
    return true;
  });
  const std::uint64_t table = tstl::dict_format::table_size(stats.buckets);
  const std::uint64_t heads = stats.keys * sizeof(tstl::dict_format::RecordHead);
  const std::uint64_t start = tstl::dict_format::records_offset(stats.buckets);
  if (!is_whole || full > stats.buckets || start + records > stats.bytes) throw image.Damaged();
  if (stats.keys == 0) stats.least_value = 0;
  chains.Add(0, stats.buckets - full);
  stats.chains = chains.Bars();
  stats.lengths = lengths.Bars();
  stats.longest_chain = chains.greatest();
  stats.longest_key = lengths.greatest();
  stats.records_per_hit =
      stats.keys == 0 ? 0 : static_cast<double>(compared) / static_cast<double>(stats.keys);
  stats.purposes = {{"header", start - table},
                    {"table", table},
                    {"values and lengths", heads},
                    {"keys", key_bytes},
                    {"zeros behind keys", records - heads - key_bytes}};
  const std::uint64_t rest = stats.bytes - start - records;
  if (rest != 0) stats.purposes.push_back({"unused", rest});
  return stats;
}

std::string Percent(std::uint64_t part, std::uint64_t all) {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f %%",
                all == 0 ? 0 : 100 * static_cast<double>(part) / static_cast<double>(all));
  return text;
}

struct StatsOptions {
  fs::path image;
  unsigned bits = 0;
  fs::path svg;
  Speech speech;
};

void AddBars(Report& report, const std::string& start, const std::vector<DictBar>& bars,
             std::uint64_t all) {
  for (const DictBar& bar : bars) {
    report.Add(start + bar.label, bar.count, Percent(bar.count, all));
  }
}

void Stats(const StatsOptions& options) {
  const Image image(options.image, options.bits);
  const DictStats stats = StatsOf(image);
  char per_hit[16];
  std::snprintf(per_hit, sizeof per_hit, "%.2f", stats.records_per_hit);
  Report report;
  report.Add("image", image.name())
      .Add("bits", std::uint64_t{image.bits()})
      .Add("keys", stats.keys)
      .Add("buckets", stats.buckets)
      .Add("least value", std::uint64_t{stats.least_value})
      .Add("greatest value", std::uint64_t{stats.greatest_value})
      .Add("longest key", stats.longest_key)
      .Add("longest chain", stats.longest_chain)
      .Add("records per hit", std::string(per_hit));
  AddBars(report, "buckets of ", stats.chains, stats.buckets);
  AddBars(report, "keys of ", stats.lengths, stats.keys);
  report.Add("bytes", stats.bytes);
  AddBars(report, "bytes of ", stats.purposes, stats.bytes);
  if (!options.svg.empty()) {
    WriteOutput(options.svg, DrawStats(stats, image.name()));
    report.Add("written", options.svg.string());
    if (IsStandard(options.svg)) return;
  }
  report.Print(options.speech, std::cout);
}

}  // namespace

DictStats StatsOf(const Image& image) {
  return image.Visit([&image](const auto& dict) { return Measure(dict, image); });
}

void DefineDictStats(CLI::App& command) {
  const auto options = std::make_shared<StatsOptions>();
  AddImageOptions(command, options->image, options->bits);
  command.add_option("--svg", options->svg, "Draw it: a picture for the browser")
      ->type_name("FILE");
  AddSpeechOptions(command, options->speech);
  command.footer(
      "'buckets of 2' counts the buckets with two records, 'keys of 3' the keys of three units (a\n"
      "Chinese character is three of 8 bits, one of 16). 'records per hit' is how many records a\n"
      "look-up compares until it has its key, on average.\n"
      "\n"
      "Example:\n"
      "  zentactl dict stats words.image --svg words.svg");
  command.callback([options] { Stats(*options); });
}

}  // namespace zenta::zentactl
