// Paths of a machine in a folder, through folders and links that the input lays out. The input is
// lines: "NAME/" makes a folder, "NAME>TARGET" a link, the last line is the path that is asked for.
// What must hold for every input:
//   1. the host path begins with the machine folder and has no ".." in it;
//   2. where the kernel, told to take the folder for the root, finds something, it is that path.
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>

#include "installer/platform/host/machine_folder.h"

#ifdef __linux__
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace {

namespace fs = std::filesystem;

void Require(bool holds) {
  if (!holds) std::abort();
}

// A folder in memory if there is one, gone at the end of the program.
struct Scratch {
  Scratch() {
    std::error_code none;
    std::string name = fs::is_directory("/dev/shm", none) ? "/dev/shm" : fs::temp_directory_path();
    name += "/host-path-fuzz-XXXXXX";
    Require(mkdtemp(name.data()) != nullptr);
    folder = name;
  }
  ~Scratch() { fs::remove_all(folder); }
  std::string folder;
};

// A name, not a path: the layout stays inside the folder, whatever the input says.
bool IsName(const std::string& text) {
  return !text.empty() && text.size() < 100 && text != "." && text != ".." &&
         text.find_first_of(std::string("/\0", 2)) == text.npos;
}

// Two levels: a folder that is there already gets the next entries too.
void LayOut(const std::string& root, std::istringstream& lines, std::string& last) {
  std::string below = root, line;
  while (std::getline(lines, line)) {
    last = line;
    std::error_code failed;
    const std::size_t link = line.find('>');
    if (line.ends_with('/') && IsName(line.substr(0, line.size() - 1))) {
      below = root + "/" + line;
      fs::create_directory(below, failed);
    } else if (link != line.npos && IsName(line.substr(0, link))) {
      fs::create_symlink(line.substr(link + 1).c_str(), below + "/" + line.substr(0, link), failed);
    }
  }
}

// What the kernel finds; "" if nothing or if it cannot be asked.
std::string KernelPath(const std::string& root, const std::string& path) {
  std::string found;
#ifdef __linux__
  const int folder = open(root.c_str(), O_PATH | O_CLOEXEC);
  const open_how how{O_PATH | O_CLOEXEC, 0, RESOLVE_IN_ROOT};
  const auto file = static_cast<int>(syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how));
  close(folder);
  if (file < 0) return found;
  found = fs::read_symlink("/proc/self/fd/" + std::to_string(file)).string();
  close(file);
#else
  static_cast<void>(root), static_cast<void>(path);
#endif
  return found;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Scratch scratch;
  const std::string root = scratch.folder + "/root";
  fs::remove_all(root);
  fs::create_directory(root);
  std::istringstream lines(std::string(reinterpret_cast<const char*>(data), size));
  std::string path;
  LayOut(root, lines, path);
  path = path.substr(0, path.find('\0'));
  try {
    const std::string host = zenta::installer::MachineFolder(root).HostPath(path);
    Require(host == root || host.starts_with(root + "/"));
    for (const fs::path& name : fs::path(host)) Require(name != "..");
    const std::string kernel = KernelPath(root, path);
    Require(kernel.empty() || kernel == host);
  } catch (const std::system_error& circle) {
    Require(circle.code() == std::errc::too_many_symbolic_link_levels);
    Require(KernelPath(root, path).empty());
  }
  return 0;
}
