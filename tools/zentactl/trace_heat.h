// HeatMap: the density of touches on a pad, as areas of eight levels.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "engine/trace/trace_record.h"

namespace zenta::zentactl {

class HeatMap {
 public:
  static constexpr int kLevels = 8;

  // Covers a part of the screen, in pixels. REQUIRES: width and height above 0.
  HeatMap(int left, int top, int width, int height);

  // Counts a touch; one outside is ignored.
  void Add(const trace::ScreenPoint& at);
  // Spreads every touch over its surroundings. Call once, after the last Add().
  void Smooth();
  // The area of a level from 1, where touches are rarest, to kLevels, as SVG path data in pixels of
  // the screen.
  [[nodiscard]] std::string Path(int level) const;

 private:
  [[nodiscard]] std::size_t index(int column, int row) const;
  [[nodiscard]] int LevelOf(int column, int row) const;

  double left_, top_, size_;  // of a cell: a square
  int columns_, rows_;
  std::vector<double> cells_;  // row by row
  double most_ = 0;
};

}  // namespace zenta::zentactl
