#include "tools/zentactl/progress.h"

#include <unistd.h>

#include <cassert>
#include <cstdio>
#include <utility>

namespace zenta::zentactl {

Progress::Progress(std::string what) : what_(std::move(what)), terminal_(isatty(2) == 1) {}

Progress::~Progress() {
  if (shown_ >= 0) std::fputs("\r\x1b[K", stderr);
}

void Progress::Show(std::uint64_t done, std::uint64_t all) {
  assert(done <= all);
  const int percent = all == 0 ? 100 : static_cast<int>(done * 100 / all);
  if (!terminal_ || percent == shown_) return;
  shown_ = percent;
  std::fprintf(stderr, "\r%s %d %%", what_.c_str(), percent);
}

}  // namespace zenta::zentactl
