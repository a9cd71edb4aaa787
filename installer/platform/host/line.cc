#include "installer/platform/host/line.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <system_error>

namespace zenta::installer {
namespace {

// Local time, as people who read the log expect.
std::string TimeStamp() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  std::array<char, 64> seconds{};
  strftime(seconds.data(), seconds.size(), "%Y-%m-%d %H:%M:%S", &local);
  std::array<char, 80> stamp{};
  snprintf(stamp.data(), stamp.size(), "%s.%03ld", seconds.data(), now.tv_nsec / 1'000'000);
  return stamp.data();
}

bool IsControl(char unit) { return static_cast<unsigned char>(unit) < 0x20 || unit == 0x7F; }

}  // namespace

void WriteLine(int descriptor, std::string_view prefix, std::string_view text) {
  assert(descriptor >= 0);
  std::string line = TimeStamp().append(" ").append(prefix).append(prefix.empty() ? "" : " ");
  std::replace_copy_if(text.begin(), text.end(), std::back_inserter(line), IsControl, ' ');
  line += '\n';
  // A short write is not continued: the rest could end up inside another program's line.
  ssize_t written = 0;
  do {
    written = write(descriptor, line.data(), line.size());
  } while (written < 0 && errno == EINTR);
  if (written < 0) throw std::system_error(errno, std::generic_category(), "write");
}

}  // namespace zenta::installer
