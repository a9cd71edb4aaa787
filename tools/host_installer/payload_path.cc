#include "tools/host_installer/payload_path.h"

#include <algorithm>
#include <array>
#include <cassert>

namespace zenta::host_installer {
namespace {

// File name extensions of the kinds of bundle that a Mac's package may hold.
constexpr std::array<std::string_view, 7> kBundleEndings = {
    ".app", ".bundle", ".component", ".framework", ".kext", ".plugin", ".prefPane"};

}  // namespace

std::vector<std::string_view> PathComponents(std::string_view path) {
  std::vector<std::string_view> components;
  while (!path.empty()) {
    const std::string_view name = path.substr(0, path.find('/'));
    path.remove_prefix(std::min(path.size(), name.size() + 1));
    if (!name.empty() && name != ".") components.push_back(name);
  }
  return components;
}

std::optional<std::string> PayloadPath(std::string_view path) {
  if (path.empty() || path.front() == '/' || path.size() > kMaxPathBytes) return std::nullopt;
  const std::vector<std::string_view> components = PathComponents(path);
  if (components.size() > kMaxPathDepth) return std::nullopt;
  std::string joined;
  for (const std::string_view name : components) {
    if (name == ".." || name.size() > kMaxNameBytes) return std::nullopt;
    if (name.starts_with(kStagingPrefix)) return std::nullopt;
    joined = JoinPath(joined, name);
  }
  return joined;
}

bool LinkStaysInside(std::string_view path, std::string_view target) {
  assert(!PathComponents(path).empty());
  if (target.empty() || target.front() == '/' || target.size() > kMaxPathBytes) return false;
  const std::vector<std::string_view> steps = PathComponents(target);
  const auto up = [](std::string_view name) { return name == ".."; };
  const auto down = std::find_if_not(steps.begin(), steps.end(), up);
  // The last component is the link itself; the ones before it are the folders that ".." may leave.
  const std::size_t folders = PathComponents(path).size() - 1;
  return std::none_of(down, steps.end(), up) &&
         static_cast<std::size_t>(down - steps.begin()) <= folders;
}

bool NamesBundle(std::string_view name) {
  return std::any_of(kBundleEndings.begin(), kBundleEndings.end(), [&](std::string_view ending) {
    return name.size() > ending.size() && name.ends_with(ending);
  });
}

std::string JoinPath(std::string_view parent, std::string_view name) {
  assert(!name.empty());
  std::string joined(parent);
  if (!joined.empty()) joined += '/';
  return joined.append(name);
}

}  // namespace zenta::host_installer
