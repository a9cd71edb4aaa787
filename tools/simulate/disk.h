// What a disk still holds when power fails: of every file that was written, what was there when it was last synced.
// The model is that of a journalling file system that keeps names in their order and loses contents: a file that was
// not synced since it was written comes back cut, most often to nothing.
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
  // A call that is let through.
  void Saw(const Request& request) {
    if (request.inode != 0 && (request.call == Call::kWrite || request.call == Call::kTruncate)) {
      unsynced_.insert(request.inode);
    }
    if (request.call == Call::kSync) unsynced_.erase(request.inode);
    if (request.call == Call::kSyncAll) unsynced_.clear();
  }
  // Cuts the files below `root` that were not synced. REQUIRES: nobody writes there. The number of files.
  int LosePower(const std::string& root, Random& random);

 private:
  std::set<std::uint64_t> unsynced_;  // inodes
};

}  // namespace zenta::simulate
