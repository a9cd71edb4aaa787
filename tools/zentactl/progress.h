// One line of progress on standard error while something long runs, if a person watches.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zenta::zentactl {

// Draws only if standard error is a terminal, and only what takes longer than half a second; wipes its
// line when it is destroyed. Plain text: it needs no colour.
class Progress {
 public:
  // `what` stands before the percentage: "packing". `quiet`: nothing is drawn.
  explicit Progress(std::string what, bool quiet = false);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // Redraws when the whole percentage changed, or, where nobody knows how much there is in all (`all` is
  // 0), the number of whole megabytes. REQUIRES: done <= all, unless that is 0.
  void Show(std::uint64_t done, std::uint64_t all);

 private:
  std::string what_;
  bool drawn_;                        // somebody watches
  std::uint64_t shown_ = UINT64_MAX;  // the number on the screen
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

}  // namespace zenta::zentactl
