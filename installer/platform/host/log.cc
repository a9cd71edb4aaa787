#include <unistd.h>

#include <string>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/line.h"

namespace zenta::installer {
namespace {

// The number that the Mac's log shows after the process ID.
pid_t ThreadId() {
#ifdef __linux__
  return gettid();
#else
  return getpid();
#endif
}

class StandardErrorLog final : public Log {
 public:
  void Line(std::string_view text) override {
    const std::string program =
        "zenta-update[" + std::to_string(getpid()) + ":" + std::to_string(ThreadId()) + "]";
    WriteLine(STDERR_FILENO, program, text);
  }
};

}  // namespace

std::unique_ptr<Log> HostLog() { return std::make_unique<StandardErrorLog>(); }

}  // namespace zenta::installer
