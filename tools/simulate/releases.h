// The releases that all stories use, made once with zentactl from the example bundle.
#pragma once

#include <string>
#include <vector>

#include "tools/simulate/machine.h"

namespace zenta::simulate {

// Makes them in `folder`, which has to exist: three releases with good signatures, which differ in
// their files, then one that is signed with another key. Throws tools::Failure.
[[nodiscard]] std::vector<Release> MakeReleases(const std::string& folder);

}  // namespace zenta::simulate
