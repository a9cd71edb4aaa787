#include "tools/host_installer/install.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <filesystem>
#include <ostream>
#include <string_view>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/terminal_text.h"
#include "tools/host_installer/package_reader.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/unpacker.h"

namespace zenta::host_installer {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::ForTerminal;
using tools::SystemFailure;

// Free space that an installation leaves on the disk.
constexpr std::uint64_t kReservedBytes = 16 << 20;

// The leading folders that all install locations have in common.
std::vector<std::string> SharedLocation(const std::vector<Component>& components) {
  std::vector<std::string> shared;
  for (const Component& component : components) {
    const std::vector<std::string_view> names = PathComponents(component.install_location);
    if (&component == &components.front()) shared.assign(names.begin(), names.end());
    const auto differ = std::mismatch(shared.begin(), shared.end(), names.begin(), names.end());
    shared.erase(differ.first, shared.end());
  }
  return shared;
}

// The folder in which the package is unpacked: the target, or a folder below it.
struct Anchor {
  std::string folder;  // absolute path
  std::string path;    // the same, as a PayloadPath relative to the target

  // `location`, which is this folder or lies below it, relative to this folder.
  [[nodiscard]] std::string RestOf(const std::string& location) const {
    const std::size_t taken = path.empty() ? 0 : path.size() + 1;
    assert(location.starts_with(path));
    return location.substr(std::min(taken, location.size()));
  }
};

// The deepest folder of the path `location` that exists and does not lie in a bundle, since bundles
// are replaced as a whole. Removes staging folders that crashes left in the folders of that path.
Anchor FindAnchor(const std::string& target, const std::vector<std::string>& location,
                  Renamer& renamer) {
  Anchor anchor{target, ""};
  Staging::CleanUp(anchor.folder, renamer);
  for (const std::string& name : location) {
    const std::string next = anchor.folder + "/" + name;
    const fs::file_status status = fs::symlink_status(next);
    if (!fs::exists(status) || NamesBundle(name)) break;
    if (!fs::is_directory(status)) throw Failure(next + " is in the way: it is no folder");
    anchor = {next, JoinPath(anchor.path, name)};
    Staging::CleanUp(anchor.folder, renamer);
  }
  return anchor;
}

// How many bytes may be unpacked in `folder`. A package that needs more is damaged or hostile, or
// would fill the disk.
std::uint64_t SpaceFor(const std::string& folder) {
  const std::uint64_t available = fs::space(folder).available;
  return std::min(available - std::min(available, kReservedBytes), kMaxUnpackedBytes);
}

// Flushes the file system of `folder` to disk. Otherwise a power failure could leave a file that is
// renamed afterwards without its contents.
void SyncFileSystem(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) throw SystemFailure("cannot open " + folder);
#ifdef __linux__
  const int failed = syncfs(descriptor);
#else
  const int failed = 0;
  sync();
#endif
  const int error = errno;
  close(descriptor);
  if (failed != 0) throw SystemFailure("cannot write " + folder, error);
}

}  // namespace

void Install(const InstallRequest& request, Renamer& renamer, std::ostream& report) {
  assert(request.target.starts_with('/'));
  const PackageDescription package = ReadDescription(request.package);
  const std::string& name = package.title.empty() ? request.name : package.title;
  report << "installer: Package name is " << ForTerminal(name) << std::endl;
  for (const Component& component : package.components) {
    if (component.has_scripts) report << "installer: Scripts are not run here" << std::endl;
  }
  report << "installer: Installing at base path /" << std::endl;

  umask(022);  // for folders that no entry lists: 0755, as on a Mac
  const InstallLock lock(request.target, request.patience);
  const Anchor anchor = FindAnchor(request.target, SharedLocation(package.components), renamer);
  const Staging staging(anchor.folder, renamer);
  Unpacker unpacker(staging.trees().fresh);
  ForEachPayload(request.package, package, SpaceFor(anchor.folder),
                 [&](const Component& component, archive* cpio) {
                   unpacker.Unpack(anchor.RestOf(component.install_location), cpio);
                 });
  SyncFileSystem(anchor.folder);
  Replace(staging.trees(), renamer);
}

}  // namespace zenta::host_installer
