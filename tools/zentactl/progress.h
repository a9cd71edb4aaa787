// One line of progress on standard error while something long runs, if a person watches.
#pragma once

#include <cstdint>
#include <string>

namespace zenta::zentactl {

// Draws only if standard error is a terminal, and wipes its line when it is destroyed.
class Progress {
 public:
  // `what` stands before the percentage: "packing".
  explicit Progress(std::string what);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Redraws when the whole percentage changed. REQUIRES: done <= all.
  void Show(std::uint64_t done, std::uint64_t all);

 private:
  std::string what_;
  bool terminal_;
  int shown_ = -1;  // the percentage on the screen
};

}  // namespace zenta::zentactl
