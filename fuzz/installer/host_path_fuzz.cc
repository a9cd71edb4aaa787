// Resolves paths of a machine in a folder, through folders and links that the input creates. The
// input is lines: "NAME/" makes a folder, "NAME>TARGET" a link, and the last line is the path to be
// resolved. Invariants:
//   1. The host path begins with the machine folder and has no ".." in it.
//   2. If the kernel, with the folder as its root, finds a file, it has that path.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/scratch_folder.h"
#include "installer/platform/host/machine_folder.h"

#ifdef __linux__
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#endif

namespace {

namespace fs = std::filesystem;
using zenta::fuzz::Require;

// Whether the text is a single name, not a path. So all entries stay inside the folder, whatever
// the input.
bool IsName(std::string_view text) {
  return !text.empty() && text.size() < 100 && text != "." && text != ".." &&
         text.find_first_of(std::string_view("/\0", 2)) == text.npos;
}

// The entries that an input's lines create in the root, two levels deep; removed at the end.
class Layout {
 public:
  explicit Layout(const std::string& root) : root_(root), below_(root) {}
  Layout(const Layout&) = delete;
  Layout& operator=(const Layout&) = delete;
  ~Layout() {
    for (; !made_.empty(); made_.pop_back()) Require(remove(made_.back().c_str()) == 0);
  }

  // A folder that exists already gets the next entries, too. A link of its name does not, because
  // it may lead out of the root.
  void Add(std::string_view line) {
    const std::size_t link = line.find('>');
    if (line.ends_with('/') && IsName(line.substr(0, line.size() - 1))) {
      const std::string folder = root_ + "/" + std::string(line.substr(0, line.size() - 1));
      if (mkdir(folder.c_str(), 0700) == 0) made_.push_back(folder);
      if (fs::symlink_status(folder).type() == fs::file_type::directory) below_ = folder;
    } else if (link != line.npos && IsName(line.substr(0, link))) {
      const std::string name = below_ + "/" + std::string(line.substr(0, link));
      const std::string target(line.substr(link + 1));
      if (symlink(target.c_str(), name.c_str()) == 0) made_.push_back(name);
    }
  }

 private:
  std::string root_, below_;
  std::vector<std::string> made_;  // in order of creation: folders before what is in them
};

// The path that the kernel finds; empty if nothing, or if the kernel cannot be asked.
std::string KernelPath(const std::string& root, const std::string& path) {
  std::string found;
#ifdef __linux__
  static const int folder = open(root.c_str(), O_PATH | O_CLOEXEC);
  const open_how how{O_PATH | O_CLOEXEC, 0, RESOLVE_IN_ROOT};
  const auto file = static_cast<int>(syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how));
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
  static const zenta::fuzz::ScratchFolder scratch("host-path-fuzz");
  static const std::string root = fs::canonical(scratch.path()).string();
  static const zenta::installer::MachineFolder machine(root);
  Layout layout(root);
  std::string_view rest(reinterpret_cast<const char*>(data), size), line;
  while (!rest.empty()) {
    line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    layout.Add(line);
  }
  const std::string path(line.substr(0, line.find('\0')));
  try {
    const std::string host = machine.HostPath(path);
    Require(host == root || host.starts_with(root + "/"));
    Require((host + "/").find("/../") == host.npos);
    const std::string kernel = KernelPath(root, path);
    Require(kernel.empty() || kernel == host);
  } catch (const std::system_error& circle) {
    Require(circle.code() == std::errc::too_many_symbolic_link_levels);
    Require(KernelPath(root, path).empty());
  }
  return 0;
}
