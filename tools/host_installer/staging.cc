#include "tools/host_installer/staging.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <thread>
#include <vector>

#include "tools/common/failure.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {
namespace {

namespace fs = std::filesystem;
using tools::SystemFailure;

// Full access for the owner, and the sticky bit. The bit has no effect on a folder that only its
// owner can write. It marks the folder as made by a Staging, since nothing in a payload keeps such
// a bit.
constexpr mode_t kOwnMode = 01700;

Trees TreesIn(const std::string& staging, const std::string& anchor) {
  return {staging + "/new", anchor, staging + "/old"};
}

// Keeps the folder if an old unit in it cannot be put back.
void Discard(const std::string& staging, const std::string& anchor, Renamer& renamer) noexcept try {
  const Trees trees = TreesIn(staging, anchor);
  if (fs::exists(trees.aside) && !PutBack(trees, renamer)) return;
  fs::remove_all(staging);
} catch (const std::exception&) {  // the next installation tries again
}

// Whether a Staging of this user made this folder. Nothing may be put back from any other.
bool IsOurFolder(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == geteuid() && (status.st_mode & 07777) == kOwnMode;
}

}  // namespace

// Locks the folder itself, so that no lock file is left over.
InstallLock::InstallLock(const std::string& folder, std::chrono::milliseconds patience)
    : descriptor_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (descriptor_ < 0) throw SystemFailure("cannot open " + folder);
  const auto end = std::chrono::steady_clock::now() + patience;
  int error = 0;
  while ((error = flock(descriptor_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno) == EWOULDBLOCK &&
         std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  if (error == 0) return;
  close(descriptor_);
  if (error == EWOULDBLOCK) throw StillBusy();
  throw SystemFailure("cannot lock " + folder, error);
}

InstallLock::~InstallLock() { close(descriptor_); }

Staging::Staging(const std::string& anchor, Renamer& renamer) : renamer_(renamer) {
  assert(anchor.starts_with('/'));
  std::string folder = anchor + "/" + std::string(kStagingPrefix) + "XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw SystemFailure("cannot unpack in " + anchor);
  if (chmod(folder.c_str(), kOwnMode) != 0) throw SystemFailure("cannot unpack in " + anchor);
  trees_ = TreesIn(folder, anchor);
  for (const std::string& tree : {trees_.fresh, trees_.aside}) {
    if (mkdir(tree.c_str(), 0700) != 0) throw SystemFailure("cannot create " + tree);
  }
}

Staging::~Staging() {
  Discard(fs::path(trees_.fresh).parent_path().string(), trees_.target, renamer_);
}

void Staging::CleanUp(const std::string& anchor, Renamer& renamer) {
  std::error_code unreadable;  // ignored: if it matters, unpacking fails and says so
  std::vector<std::string> left;
  for (const fs::directory_entry& entry : fs::directory_iterator(anchor, unreadable)) {
    if (entry.path().filename().string().starts_with(kStagingPrefix)) left.push_back(entry.path());
  }
  for (const std::string& staging : left) {
    if (IsOurFolder(staging)) Discard(staging, anchor, renamer);
    rmdir(staging.c_str());  // an empty one, whose maker died before it set kOwnMode
  }
}

}  // namespace zenta::host_installer
