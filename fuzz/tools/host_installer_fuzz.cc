// Installs packages of any bytes over an old version. The input's first byte tells which part of
// the package the rest is (PackageOf); all other parts are valid. Invariants:
//   1. Nothing outside the machine folder changes.
//   2. An installation that fails leaves everything in the folder unchanged.
//   3. One that succeeds leaves no link that leads out of the folder, no device, pipe or socket, no
//      set-user-ID, set-group-ID or sticky bit, and nothing of its staging folder.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "tests/tools/package_maker.h"
#include "tools/host_installer/install.h"

namespace {

namespace fs = std::filesystem;
using Snapshot = std::map<std::string, std::string>;

using zenta::fuzz::Require;

std::string Contents(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Put(const fs::path& path, const std::string& contents) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << contents;
}

Snapshot Below(const fs::path& folder) {
  Snapshot found;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const fs::file_status status = entry.symlink_status();
    std::string what = std::to_string(static_cast<unsigned>(status.permissions())) + " ";
    if (fs::is_regular_file(status)) what += Contents(entry.path());
    if (fs::is_symlink(status)) what += "-> " + fs::read_symlink(entry.path()).string();
    found[entry.path()] = what;
  }
  return found;
}

void CheckInstalled(const fs::path& machine) {
  for (const auto& entry : fs::recursive_directory_iterator(machine)) {
    const fs::file_status status = entry.symlink_status();
    Require(fs::is_regular_file(status) || fs::is_directory(status) || fs::is_symlink(status));
    Require(fs::is_symlink(status) || (status.permissions() & ~fs::perms{0777}) == fs::perms::none);
    Require(!entry.path().filename().string().starts_with(".zenta-installer-"));
    if (!fs::is_symlink(status)) continue;
    std::error_code circle;
    const fs::path end = fs::weakly_canonical(entry.path(), circle);
    Require(circle || end == machine || end.native().starts_with(machine.native() + "/"));
  }
}

// A package with `bytes` as one part: a payload (cpio, plain or compressed), the package itself, a
// PackageInfo, a Distribution, or the text of a table of contents.
std::string PackageOf(unsigned kind, const std::string& bytes) {
  using namespace zenta::tools;
  static const std::string info = PackageInfoFor("/Library/Input Methods");
  static const std::string payload = Cpio({{"ZentaIM.app/x", 0100644, "new"}});
  static const std::string heap = PartsOf(Xar({{"PackageInfo", info}, {"Payload", payload}})).files;
  switch (kind % 5) {
    case 0:
      return Xar({{"PackageInfo", info}, {"Payload", bytes}});
    case 1:
      return bytes;
    case 2:
      return Xar({{"PackageInfo", bytes}, {"Payload", payload}});
    case 3:
      return Xar(
          {{"Distribution", bytes}, {"a.pkg/PackageInfo", info}, {"a.pkg/Payload", payload}});
    default:
      return XarOf({bytes, heap});
  }
}

bool Installs(const std::string& package, const std::string& machine) {
  zenta::host_installer::Renamer renamer;
  std::ostringstream report;
  try {
    const zenta::host_installer::PackageFile file(package, "fuzz");
    zenta::host_installer::Install({file, "fuzz", machine}, renamer, report);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

// A machine folder with an old version in it, and a file beside it. It is made again only after an
// installation that succeeded, since all others leave it unchanged.
class Machine {
 public:
  Machine() { Make(); }

  void Make() {
    fs::remove_all(outer_);
    Put(folder_ / "Library/Input Methods/ZentaIM.app/Contents/Info.plist", "old");
    Put(outer_ / "outside", "outside");
    made_ = Below(folder_);
  }

  // Checks the folder after an installation.
  void Check(bool installed) {
    installed ? CheckInstalled(folder_) : Require(Below(folder_) == made_);
    Require(Contents(outer_ / "outside") == "outside");
    Require(std::distance(fs::directory_iterator(outer_), {}) == 2);
    Require(std::distance(fs::directory_iterator(scratch_.path()), {}) == 2);
  }

  const fs::path& folder() const { return folder_; }
  fs::path package() const { return fs::path(scratch_.path()) / "package"; }

 private:
  zenta::fuzz::ScratchFolder scratch_{"host-installer-fuzz"};
  fs::path outer_ = fs::path(scratch_.path()) / "outer", folder_ = outer_ / "machine";
  Snapshot made_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Machine machine;
  if (size == 0) return 0;
  Put(machine.package(), PackageOf(data[0], {reinterpret_cast<const char*>(data + 1), size - 1}));
  const bool installed = Installs(machine.package(), machine.folder());
  machine.Check(installed);
  if (installed) machine.Make();
  return 0;
}
