// The two XML files of a flat package, as far as an installer needs them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zenta::host_installer {

struct Distribution {
  std::string title;                 // "" if there is none
  std::vector<std::string> folders;  // of the components that it names, in its order: "NAME.pkg"
};

// The install location in a component's PackageInfo, as a PayloadPath below the target; the target
// itself if none is named. Throws Failure if this is no PackageInfo or the location leaves the
// target.
[[nodiscard]] std::string InstallLocation(std::string_view package_info);

// Throws Failure if this is no Distribution or it names no component.
[[nodiscard]] Distribution ParseDistribution(std::string_view xml);

}  // namespace zenta::host_installer
