#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/host/line.h"

namespace zenta::installer {
namespace {

constexpr char kJournal[] = "/var/log/notifications.log";

class JournalNotifications final : public Notifications {
 public:
  explicit JournalNotifications(const MachineFolder& machine) : machine_(machine) {}

  void Post(std::string_view name) override {
    const std::string path = machine_.HostPathForWriting(kJournal);
    // Without O_NONBLOCK the open of a named pipe that nobody reads would wait without end.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    const int journal = open(path.c_str(), kFlags, 0644);
    if (journal < 0) throw std::system_error(errno, std::generic_category(), path);
    try {
      WriteLine(journal, "", name);
    } catch (...) {
      close(journal);
      throw;
    }
    close(journal);
  }

 private:
  const MachineFolder machine_;
};

}  // namespace

std::unique_ptr<Notifications> HostNotifications(const MachineFolder& machine) {
  return std::make_unique<JournalNotifications>(machine);
}

}  // namespace zenta::installer
