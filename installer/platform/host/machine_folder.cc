#include "installer/platform/host/machine_folder.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxLinks = 40;  // followed in one path, as on Linux
constexpr std::string_view kPrivate = "/private";

// Puts the components of `path` on a stack, the first on top; empty ones and "." are left out.
void PushComponents(std::string_view path, std::vector<std::string>& stack) {
  while (!path.empty()) {
    const std::size_t slash = path.rfind('/');  // npos + 1 is 0: the whole rest
    const std::string_view name = path.substr(slash + 1);
    if (!name.empty() && name != ".") stack.emplace_back(name);
    path = path.substr(0, slash == std::string_view::npos ? 0 : slash);
  }
}

// Removes the last component; the root is its own parent.
void GoUp(std::string& path) { path.erase(std::min(path.size(), path.rfind('/'))); }

// nullopt if the path is no link. The same if it does not exist or cannot be read: the open that
// follows reports that.
std::optional<fs::path> LinkTarget(const std::string& path) {
  std::error_code no_link;
  fs::path target = fs::read_symlink(path, no_link);
  if (no_link) return std::nullopt;
  return target;
}

}  // namespace

MachineFolder::MachineFolder(const std::string& folder) : root_(fs::canonical(folder).string()) {
  if (!fs::is_directory(root_)) {
    throw std::system_error(ENOTDIR, std::generic_category(), "machine folder " + root_);
  }
  if (root_ == "/") root_.clear();
  assert(root_.empty() || root_.starts_with('/'));
}

MachineFolder MachineFolder::FromEnvironment() {
  const char* folder = std::getenv("ZENTA_MACHINE");
  return MachineFolder(folder == nullptr || *folder == '\0' ? "/" : folder);
}

std::string MachineFolder::HostPath(std::string_view path, LastLink last) const {
  // Takes one component after the other. A link is replaced by the components of its target.
  std::vector<std::string> ahead;
  PushComponents(path, ahead);
  std::string reached;  // below the folder, without links: "" or "/a/b"
  for (int links = 0; !ahead.empty();) {
    const std::string name = std::move(ahead.back());
    ahead.pop_back();
    if (name == "..") {
      GoUp(reached);
      continue;
    }
    std::string next = reached;
    next.append("/").append(name);
    const bool keep = ahead.empty() && last == LastLink::kKeep;
    const std::optional<fs::path> target = keep ? std::nullopt : LinkTarget(root_ + next);
    if (!target) {
      reached = std::move(next);
      continue;
    }
    if (++links > kMaxLinks) {
      throw std::system_error(ELOOP, std::generic_category(), std::string(path));
    }
    if (target->is_absolute()) reached.clear();
    PushComponents(target->native(), ahead);
  }
  assert(reached.empty() || (reached.starts_with('/') && !reached.ends_with('/')));
  return root_.empty() && reached.empty() ? "/" : root_ + reached;
}

std::string MachineFolder::HostPathForWriting(std::string_view path) const {
  std::string host = HostPath(path);
  fs::create_directories(fs::path(host).parent_path());
  return host;
}

std::string MachineFolder::HomeFolder() {
  // Not from HOME or USER: the environment must not decide whose preferences are written.
  const passwd* user = getpwuid(geteuid());
  return "/Users/" + (user == nullptr ? std::to_string(geteuid()) : std::string(user->pw_name));
}

std::string StandardizedPath(const MachineFolder& machine, std::string_view path) {
  std::string whole(path);
  if (path == "~" || path.starts_with("~/")) whole.replace(0, 1, MachineFolder::HomeFolder());
  const bool absolute = whole.starts_with('/');
  std::vector<std::string> ahead;
  PushComponents(whole, ahead);
  std::string standard;
  for (; !ahead.empty(); ahead.pop_back()) {
    if (absolute && ahead.back() == "..") {
      GoUp(standard);
    } else {
      if (absolute || !standard.empty()) standard += '/';
      standard += ahead.back();
    }
  }
  if (absolute && standard.empty()) return "/";
  if (standard.starts_with("/private/")) {
    // On a Mac /etc, /tmp and /var are links to folders in /private.
    std::string rest = standard.substr(kPrivate.size());
    std::error_code unknown;
    if (fs::exists(machine.HostPath(rest), unknown)) return rest;
  }
  return standard;
}

}  // namespace zenta::installer
