// Statistics of a dictionary image.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/zentactl/dict_image.h"

namespace zenta::zentactl {

// A bar of a chart: a label and how many there are.
struct DictBar {
  std::string label;
  std::uint64_t count = 0;
};

struct DictStats {
  std::uint64_t keys = 0, buckets = 0, bytes = 0;
  std::vector<DictBar> chains;    // buckets by the number of their records, from 0 on
  std::vector<DictBar> lengths;   // keys by their length in units
  std::vector<DictBar> purposes;  // bytes by what they are for; they add up to `bytes`
  std::uint64_t longest_chain = 0, longest_key = 0;
  std::uint32_t least_value = 0, greatest_value = 0;
  double records_per_hit = 0;  // that a look-up of a stored key compares, on average over all keys
};

// Throws Failure if the image is damaged.
[[nodiscard]] DictStats StatsOf(const Image& image);

// Draws the numbers as bar charts: SVG for a browser, in light or dark colours as the browser
// prefers.
[[nodiscard]] std::string DrawStats(const DictStats& stats, const std::string& title);

}  // namespace zenta::zentactl
