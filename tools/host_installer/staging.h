// The folder beside the target in which a package is unpacked, and the lock that lets one
// installation at a time do so.
//
//   ANCHOR/.zenta-installer-XXXXXX/new   the fresh tree
//   ANCHOR/.zenta-installer-XXXXXX/old   old units set aside where names cannot be exchanged
//
// It is on the target's file system, so that units move by renaming. What a crash left of it is
// removed by the next installation, after anything that it still holds aside and that is missing was
// put back. A staging folder is recognised by its name, which no package may use, by its owner and
// by its permissions, which nothing unpacked from a package can have. Other folders of such a name
// are left alone.
#pragma once

#include <chrono>
#include <string>

#include "tools/common/failure.h"
#include "tools/host_installer/replacement.h"

namespace zenta::host_installer {

// How long an installation waits for another one to end.
inline constexpr std::chrono::seconds kPatience = std::chrono::minutes(1);

// Another installation kept this one waiting for too long; nothing was done.
class StillBusy : public tools::Failure {
 public:
  StillBusy() : Failure("another installation is still running") {}
};

// Held from construction to destruction; the system releases it when its holder dies. Throws
// StillBusy if somebody else holds the lock for longer than `patience`, Failure if the folder cannot
// be opened.
class InstallLock {
 public:
  InstallLock(const std::string& folder, std::chrono::milliseconds patience);
  InstallLock(const InstallLock&) = delete;
  InstallLock& operator=(const InstallLock&) = delete;
  ~InstallLock();

 private:
  int descriptor_;
};

// REQUIRES, for all of it: the InstallLock is held.
class Staging {
 public:
  // A fresh one in `anchor`, open to its owner only. Throws Failure.
  Staging(const std::string& anchor, Renamer& renamer);
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;
  // Puts back what is still aside and removes the folder.
  ~Staging();

  [[nodiscard]] const Trees& trees() const { return trees_; }

  // Does the same for every staging folder of this user that a crash left in `anchor`.
  static void CleanUp(const std::string& anchor, Renamer& renamer);

 private:
  Trees trees_;
  Renamer& renamer_;
};

}  // namespace zenta::host_installer
