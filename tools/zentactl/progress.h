// A progress line on standard error for long operations.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace zenta::zentactl {

// Draws only if standard error is a terminal, and nothing in the first half second. The destructor
// wipes the line. Plain text without colours.
class Progress {
 public:
  // `what` is printed before the percentage: "packing". With `quiet` nothing is drawn.
  explicit Progress(std::string what, bool quiet = false);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress();

  // `done` of `all` bytes are done; `all` is 0 if the total is unknown. Redraws when the percentage
  // changed, or, without a total, the number of MiB. REQUIRES: done <= all, or all == 0.
  void Show(std::uint64_t done, std::uint64_t all);

 private:
  std::string what_;
  bool drawn_;                        // on a terminal, and not quiet
  std::uint64_t shown_ = UINT64_MAX;  // the number on the screen; this one: nothing yet
  std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

}  // namespace zenta::zentactl
