#include "tools/zentactl/trace_heat.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <sstream>
#include <utility>

namespace zenta::zentactl {
namespace {

constexpr double kCells = 150;    // along the longer side
constexpr double kLeast = 0.004;  // of the densest cell; less shows nothing
constexpr int kSpread = 5;        // how often the cells are smoothed

}  // namespace

HeatMap::HeatMap(int left, int top, int width, int height)
    : left_(left),
      top_(top),
      size_(std::max(width, height) / kCells),
      columns_(static_cast<int>(std::ceil(width / size_))),
      rows_(static_cast<int>(std::ceil(height / size_))),
      cells_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)) {}

std::size_t HeatMap::index(int column, int row) const {
  return static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
         static_cast<std::size_t>(column);
}

void HeatMap::Add(const trace::ScreenPoint& at) {
  const int column = static_cast<int>(std::floor((at[0] - left_) / size_));
  const int row = static_cast<int>(std::floor((at[1] - top_) / size_));
  if (column >= 0 && column < columns_ && row >= 0 && row < rows_) ++cells_[index(column, row)];
}

// Binomial filter: a quarter of each cell goes to either neighbour, along the rows and then along
// the columns.
void HeatMap::Smooth() {
  const auto filter = [this](int lines, int length, auto index_of) {
    for (int line = 0; line < lines; ++line) {
      double before = 0;
      for (int i = 0; i < length; ++i) {
        double& here = cells_[index_of(line, i)];
        const double after = i + 1 < length ? cells_[index_of(line, i + 1)] : 0;
        before = std::exchange(here, (before + 2 * here + after) / 4);
      }
    }
  };
  for (int i = 0; i < kSpread; ++i) {
    filter(rows_, columns_, [this](int row, int column) { return index(column, row); });
    filter(columns_, rows_, [this](int column, int row) { return index(column, row); });
  }
  most_ = *std::ranges::max_element(cells_);
}

// The scale is the square root, so that sparse areas are seen beside dense ones.
int HeatMap::LevelOf(int column, int row) const {
  const double part = cells_[index(column, row)] / most_;
  if (!(part > kLeast)) return 0;
  return std::min(kLevels, static_cast<int>(std::ceil(std::sqrt(part) * kLevels)));
}

std::string HeatMap::Path(int level) const {
  std::ostringstream path;
  for (int row = 0; row < rows_; ++row) {
    for (int column = 0; column < columns_; ++column) {
      const int from = column;
      while (column < columns_ && LevelOf(column, row) == level) ++column;
      if (column == from) continue;
      const double width = (column - from) * size_;
      path << 'M' << left_ + from * size_ << ' ' << top_ + row * size_ << 'h' << width << 'v'
           << size_ << 'h' << -width << 'z';
    }
  }
  return path.str();
}

}  // namespace zenta::zentactl
