#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "installer/platform/host/host_platform.h"
#include "installer/platform/posix/downloaded_file.h"

namespace zenta::installer {
namespace {

// Follows links, except in Remove.
class MachineFiles final : public Files {
 public:
  explicit MachineFiles(const MachineFolder& machine) : machine_(machine) {}

  std::string StandardizePath(std::string_view path) override {
    return StandardizedPath(machine_, path);
  }

  std::unique_ptr<DownloadedFile> OpenForReading(const std::string& path) override {
    return OpenDownload({machine_.root(), NameOf(path), machine_.HostPath(path)});
  }

  std::unique_ptr<Lock> LockFolderOf(const std::string& path) override {
    const std::string name = NameOf(path);
    return LockFolder(name.substr(0, name.rfind('/') + 1));
  }

  bool Exists(const std::string& path) override {
    struct stat status;
    return stat(machine_.HostPath(path).c_str(), &status) == 0;
  }

  bool Remove(const std::string& path) override {
    // unlink(2) removes no folders.
    return unlink(NameOf(path).c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
  }

 private:
  [[nodiscard]] std::string NameOf(const std::string& path) const {
    return machine_.HostPath(path, MachineFolder::LastLink::kKeep);
  }

  const MachineFolder machine_;
};

}  // namespace

std::unique_ptr<Files> HostFiles(const MachineFolder& machine) {
  return std::make_unique<MachineFiles>(machine);
}

}  // namespace zenta::installer
