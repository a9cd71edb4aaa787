#include "tools/zentactl/progress.h"

#include <unistd.h>

#include <cassert>
#include <cstdio>
#include <utility>

namespace zenta::zentactl {
namespace {

constexpr std::uint64_t kNothing = UINT64_MAX;
constexpr std::chrono::milliseconds kUnseen(500);  // nothing is drawn before

}  // namespace

Progress::Progress(std::string what, bool quiet)
    : what_(std::move(what)), drawn_(!quiet && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (shown_ != kNothing) std::fputs("\r\x1b[K", stderr);
}

void Progress::Show(std::uint64_t done, std::uint64_t all) {
  assert(done <= all || all == 0);
  if (!drawn_) return;
  const std::uint64_t number = all == 0 ? done >> 20 : done * 100 / all;
  if (number == shown_ || std::chrono::steady_clock::now() - begun_ < kUnseen) return;
  shown_ = number;
  std::fprintf(stderr, "\r%s %llu %s", what_.c_str(), static_cast<unsigned long long>(number),
               all == 0 ? "MB" : "%");
}

}  // namespace zenta::zentactl
