// What a disk still holds after a power failure. The model is a journalling file system: changes of
// names survive, contents do not. A file that was written and not synced since comes back truncated
// at a random length, most often to nothing.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "tools/simulate/protocol.h"
#include "tools/simulate/random.h"

namespace zenta::simulate {

class Disk {
 public:
  void Forget() { unsynced_.clear(); }
  // Takes note of a call that is about to be made.
  void Saw(const Request& request) {
    if (request.inode != 0 && (request.call == Call::kWrite || request.call == Call::kTruncate)) {
      unsynced_.insert(request.inode);
    }
    if (request.call == Call::kSync) unsynced_.erase(request.inode);
    if (request.call == Call::kSyncAll) unsynced_.clear();
  }
  // Truncates the files below `root` that were not synced, and returns how many those were.
  // REQUIRES: no process writes there.
  int LosePower(const std::string& root, Random& random);

 private:
  std::set<std::uint64_t> unsynced_;  // inodes
};

}  // namespace zenta::simulate
