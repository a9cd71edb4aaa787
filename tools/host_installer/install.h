// Installs one package: unpacks its payloads and moves them into place below a target folder.
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
  std::string name;    // shown if the package has no title of its own
  std::string target;  // absolute path of the folder that is the base path "/"
  std::chrono::milliseconds patience = kPatience;  // how long to wait for another installation
};

// Installs the package. Writes to `report` what it does, in the words of a Mac's installer. When it
// returns, everything in the package is in place. Throws Failure or another std::exception if the
// package could not be installed; what was installed before is then still whole. Throws StillBusy
// if another installation did not end in time. The package's scripts are not run: they are written
// for a Mac.
//
// The payload is first unpacked on the target's file system, in the deepest existing folder of the
// path to the install location. No part of that path may be a symbolic link. The unpacked payload
// has to leave 16 MiB of the disk free.
//
// Changes the working folder of the process until it returns, and sets the umask to 022 for good.
void Install(const InstallRequest& request, Renamer& renamer, std::ostream& report);

}  // namespace zenta::host_installer
