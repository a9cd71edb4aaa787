// The releases of all stories: made once with the real release tool, from the example bundle.
#pragma once

#include <string>
#include <vector>

#include "tools/simulate/machine.h"

namespace zenta::simulate {

// In `folder`, which exists: three releases with good signatures, each different in what files it has, and after
// them one that somebody else signed. Throws tools::Failure.
[[nodiscard]] std::vector<Release> MakeReleases(const std::string& folder);

}  // namespace zenta::simulate
