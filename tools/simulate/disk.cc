#include "tools/simulate/disk.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <vector>

namespace zenta::simulate {

int Disk::LosePower(const std::string& root, Random& random) {
  namespace fs = std::filesystem;
  std::vector<std::string> lost;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    struct stat status {};
    const bool file = lstat(entry.path().c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (file && unsynced_.count(status.st_ino) != 0) lost.push_back(entry.path());
  }
  std::sort(lost.begin(), lost.end());  // so that each file gets the same random number every time
  for (const std::string& path : lost) {
    const std::uint64_t size = fs::file_size(path);
    const std::uint64_t kept = random.OneIn(3) ? random.Below(size + 1) : 0;
    static_cast<void>(truncate(path.c_str(), static_cast<off_t>(kept)));
  }
  Forget();
  return static_cast<int>(lost.size());
}

}  // namespace zenta::simulate
