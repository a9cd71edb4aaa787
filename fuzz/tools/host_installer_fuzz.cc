// Packages of unknown bytes, installed over an old version. The input's first byte says what the rest
// is (PackageOf); what stands around it is a package without fault. What must hold for every input:
//   1. nothing outside the machine folder changes;
//   2. an installation that fails leaves everything in the folder as it was;
//   3. one that succeeds leaves no link that leads out of the folder, no device, pipe or socket, no
//      file with rights of its own, and nothing of its staging folder.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>

#include "tests/tools/package_maker.h"
#include "tools/host_installer/install.h"

namespace {

namespace fs = std::filesystem;
using Snapshot = std::map<std::string, std::string>;

void Require(bool holds) {
  if (!holds) std::abort();
}

// A folder in memory if there is one, gone at the end of the program.
struct Scratch {
  Scratch() {
    std::error_code none;
    std::string name = fs::is_directory("/dev/shm", none) ? "/dev/shm" : fs::temp_directory_path();
    name += "/host-installer-fuzz-XXXXXX";
    Require(mkdtemp(name.data()) != nullptr);
    folder = name;
  }
  ~Scratch() { fs::remove_all(folder); }
  fs::path folder;
};

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

// The package with `bytes` in it: a payload (cpio, plain or compressed), the package itself, a
// PackageInfo, a Distribution, or the text of a table of contents.
std::string PackageOf(unsigned kind, const std::string& bytes) {
  using namespace zenta::tools;
  const std::string info = PackageInfoFor("/Library/Input Methods");
  const std::string payload = Cpio({{"ZentaIM.app/x", 0100644, "new"}});
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
      return XarOf({bytes, PartsOf(Xar({{"PackageInfo", info}, {"Payload", payload}})).files});
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  const fs::path machine = scratch.folder / "outer/machine", package = scratch.folder / "package";
  fs::remove_all(scratch.folder / "outer");
  Put(machine / "Library/Input Methods/ZentaIM.app/Contents/Info.plist", "old");
  Put(scratch.folder / "outer/outside", "outside");
  if (size == 0) return 0;
  Put(package, PackageOf(data[0], {reinterpret_cast<const char*>(data + 1), size - 1}));
  const Snapshot before = Below(machine);
  if (Installs(package, machine)) {
    CheckInstalled(machine);
  } else {
    Require(Below(machine) == before);
  }
  Require(Contents(scratch.folder / "outer/outside") == "outside");
  Require(std::distance(fs::directory_iterator(scratch.folder / "outer"), {}) == 2);
  Require(std::distance(fs::directory_iterator(scratch.folder), {}) == 2);
  return 0;
}
