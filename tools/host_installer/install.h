// One installation: from a package file to its payload in place below a target folder.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

#include "tools/host_installer/package_file.h"
#include "tools/host_installer/replacement.h"
#include "tools/host_installer/staging.h"

namespace zenta::host_installer {

struct InstallRequest {
  const PackageFile& package;
  std::string name;    // what to call the package if it has no title of its own
  std::string target;  // absolute path of the folder that is the base path "/"
  std::chrono::milliseconds patience = kPatience;  // with another installation that is running
};

// Installs the package and says what it does, in the lines of a Mac's installer, on `report`.
// Everything of the package is in place when it returns. Throws Failure, or another std::exception,
// if that did not come about; what was installed before is whole then. StillBusy says that another
// installation did not end in time. Scripts of the package are not run: they are written for a Mac.
//
// The payload is unpacked beside the target first: on the way to the install location, in the last
// folder that exists. Nothing on that way may be a symbolic link. Space: the unpacked payload has
// to leave a reserve free.
//
// Uses the working folder of the process meanwhile, and sets its file mode mask to 022.
void Install(const InstallRequest& request, Renamer& renamer, std::ostream& report);

}  // namespace zenta::host_installer
