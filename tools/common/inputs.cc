#include "tools/common/inputs.h"

#include <array>
#include <optional>
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

// Of the file that the path leads to, and of what lies at the path itself.
std::array<std::optional<struct stat>, 2> StatusesOf(const std::filesystem::path& path) {
  std::array<std::optional<struct stat>, 2> found;
  struct stat status;
  if (stat(path.c_str(), &status) == 0) found[0] = status;
  if (lstat(path.c_str(), &status) == 0) found[1] = status;
  return found;
}

}  // namespace

void NoteInput(const std::filesystem::path& path) {
  for (const auto& status : StatusesOf(path)) {
    if (status) NoteInput(*status);
  }
}

void NoteInput(const struct stat& status) { Noted().emplace(status.st_dev, status.st_ino); }

void RefuseInput(const std::filesystem::path& out) {
  for (const auto& status : StatusesOf(out)) {
    if (status && Noted().contains({status->st_dev, status->st_ino})) {
      throw Failure(out.string() + " is an input, not replaced");
    }
  }
}

}  // namespace zenta::tools
