#include <sys/stat.h>
#include <unistd.h>

#include "installer/platform/host/host_platform.h"

namespace zenta::installer {
namespace {

using signing::FileHandle;
using signing::SystemFiles;

// What a link leads to stands for the link, except when it is removed.
class MachineFiles final : public Files {
 public:
  explicit MachineFiles(const MachineFolder& machine) : machine_(machine) {}

  std::string StandardizePath(std::string_view path) override {
    return StandardizedPath(machine_, path);
  }

  std::unique_ptr<FileHandle> OpenForReading(const std::string& path) override {
    return SystemFiles().OpenForReading(machine_.HostPath(path));
  }

  bool Exists(const std::string& path) override {
    struct stat status;
    return stat(machine_.HostPath(path).c_str(), &status) == 0;
  }

  void Remove(const std::string& path) override {
    // unlink(2) leaves folders alone.
    unlink(machine_.HostPath(path, MachineFolder::LastLink::kKeep).c_str());
  }

 private:
  const MachineFolder machine_;
};

}  // namespace

std::unique_ptr<Files> HostFiles(const MachineFolder& machine) {
  return std::make_unique<MachineFiles>(machine);
}

}  // namespace zenta::installer
