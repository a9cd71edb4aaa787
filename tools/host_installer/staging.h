// The staging folder in which a package is unpacked, and the lock that admits one installation at a
// time.
//
//   ANCHOR/.zenta-installer-XXXXXX/new   the unpacked tree
//   ANCHOR/.zenta-installer-XXXXXX/old   old units, moved aside where names cannot be exchanged
//
// It lies on the target's file system, so that units can be renamed into place. If a crash leaves
// it behind, the next installation puts back old units that are missing in the target and removes
// it. A staging folder is recognised by its name, which no package may use, by its owner, and by
// its permissions, which nothing unpacked from a package can have. Other folders with such a name
// are kept.
#pragma once

#include <chrono>
#include <string>

#include "tools/common/failure.h"
#include "tools/host_installer/replacement.h"

namespace zenta::host_installer {

// How long an installation waits for another one by default.
inline constexpr std::chrono::seconds kPatience = std::chrono::minutes(1);

// Another installation held the lock for too long. Nothing was changed.
class StillBusy : public tools::Failure {
 public:
  StillBusy() : Failure("another installation is still running") {}
};

// Holds an exclusive flock on `folder` while it exists; the system releases it if the process dies.
// The constructor throws StillBusy if another process still holds the lock after `patience`, and
// Failure if the folder cannot be opened or locked.
class InstallLock {
 public:
  InstallLock(const std::string& folder, std::chrono::milliseconds patience);
  InstallLock(const InstallLock&) = delete;
  InstallLock& operator=(const InstallLock&) = delete;
  ~InstallLock();

 private:
  int descriptor_;
};

// REQUIRES, for every member: the InstallLock is held.
class Staging {
 public:
  // Creates a staging folder in `anchor`, accessible to its owner only. Throws Failure.
  Staging(const std::string& anchor, Renamer& renamer);
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;
  // Puts back old units that are missing in the target, and removes the folder if that succeeded.
  ~Staging();

  [[nodiscard]] const Trees& trees() const { return trees_; }

  // Does the same to every staging folder of this user that a crash left in `anchor`.
  static void CleanUp(const std::string& anchor, Renamer& renamer);

 private:
  Trees trees_;
  Renamer& renamer_;
};

}  // namespace zenta::host_installer
