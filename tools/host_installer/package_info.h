// Parses the two XML files of a flat package, PackageInfo and Distribution, as far as an installer
// needs them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zenta::host_installer {

struct Distribution {
  std::string title;                 // "" if there is none
  std::vector<std::string> folders;  // one per component, in document order: "NAME.pkg"
};

// The install location in a component's PackageInfo, as a PayloadPath relative to the target. "",
// the target itself, if the PackageInfo names none. Throws Failure if the text is no PackageInfo or
// the location is no PayloadPath, for instance leaves the target.
[[nodiscard]] std::string InstallLocation(std::string_view package_info);

// Throws Failure if the text is no Distribution or names no component.
[[nodiscard]] Distribution ParseDistribution(std::string_view xml);

}  // namespace zenta::host_installer
