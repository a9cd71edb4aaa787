#include "tools/common/inputs.h"

#include <set>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::tools {
namespace {

using Identity = std::pair<dev_t, ino_t>;

std::set<Identity>& Noted() {
  static std::set<Identity> noted;
  return noted;
}

}  // namespace

void NoteInput(const std::filesystem::path& path) {
  struct stat status;
  if (stat(path.c_str(), &status) == 0) NoteInput(status);
}

void NoteInput(const struct stat& status) { Noted().emplace(status.st_dev, status.st_ino); }

void RefuseInput(const std::filesystem::path& out) {
  for (const auto& look : {stat, lstat}) {
    struct stat status;
    if (look(out.c_str(), &status) == 0 && Noted().contains({status.st_dev, status.st_ino})) {
      throw Failure(out.string() + " is an input, not replaced");
    }
  }
}

}  // namespace zenta::tools
