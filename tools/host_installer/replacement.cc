#include "tools/host_installer/replacement.h"

#include <fcntl.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "tools/common/failure.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {
namespace {

namespace fs = std::filesystem;
using tools::Failure;
using tools::SystemFailure;

struct Unit {
  std::string path;  // relative to the root of either tree
  bool exists;       // in the tree into which it is to be moved
  bool clashes;      // exactly one of the two is a folder, so neither may replace the other
};

// Appends the units of `from`/`below`, in no particular order. REQUIRES: `below` is a folder in
// both trees.
void CollectUnits(const std::string& from, const std::string& to, const std::string& below,
                  std::vector<Unit>& units) {
  for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(from) / below)) {
    const std::string name = entry.path().filename().string();
    const std::string path = JoinPath(below, name);
    const fs::file_status there = fs::symlink_status(JoinPath(to, path));
    const bool folder = fs::is_directory(entry.symlink_status());
    const bool bundle = folder && NamesBundle(name);
    if (folder && !bundle && fs::is_directory(there)) {
      CollectUnits(from, to, path, units);
    } else {
      const bool relinks = bundle && fs::is_symlink(there);
      const bool clashes = fs::exists(there) && folder != fs::is_directory(there) && !relinks;
      units.push_back({path, fs::exists(there), clashes});
    }
  }
}

// Sorted by path, so that two runs on the same trees make the same calls.
std::vector<Unit> UnitsOf(const std::string& from, const std::string& to) {
  std::vector<Unit> units;
  CollectUnits(from, to, "", units);
  std::sort(units.begin(), units.end(),
            [](const Unit& a, const Unit& b) { return a.path < b.path; });
  return units;
}

// A replacement in progress. Records each step, so that it can be undone.
class Transaction {
 public:
  Transaction(const Trees& trees, Renamer& renamer, std::size_t most_steps)
      : trees_(trees), renamer_(renamer) {
    done_.reserve(most_steps);  // so that recording a step that was done cannot fail
  }

  void Place(const Unit& unit) {
    Step step{trees_.fresh + "/" + unit.path, trees_.target + "/" + unit.path, unit.exists};
    // If the file system can exchange names, the old or the new unit is in place at every moment.
    int error = unit.exists ? renamer_.Exchange(step.fresh, step.target) : 0;
    if (error == EINVAL || error == ENOSYS || error == ENOTSUP) {
      step.exchanged = false;
      error = MoveAside(unit.path, step.target);
    }
    if (error == 0 && !step.exchanged) error = renamer_.Move(step.fresh, step.target);
    if (error != 0) throw SystemFailure("cannot put the new " + step.target + " in place", error);
    assert(done_.size() < done_.capacity());
    done_.push_back(std::move(step));
  }

  // Newest step first. If a step cannot be undone, the new unit stays in place, which is also
  // whole.
  void Undo() noexcept {
    for (; !done_.empty(); done_.pop_back()) {
      const Step& step = done_.back();
      if (step.exchanged) {
        renamer_.Exchange(step.fresh, step.target);
      } else {
        renamer_.Move(step.target, step.fresh);
      }
    }
  }

 private:
  struct Step {
    std::string fresh, target;
    bool exchanged;  // otherwise moved
  };

  int MoveAside(const std::string& path, const std::string& target) {
    const fs::path aside = trees_.aside + "/" + path;
    fs::create_directories(aside.parent_path());
    return renamer_.Move(target, aside.string());
  }

  const Trees& trees_;
  Renamer& renamer_;
  std::vector<Step> done_;
};

}  // namespace

int Renamer::Move(const std::string& from, const std::string& to) {
  return std::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int Renamer::Exchange(const std::string& one, const std::string& other) {
#ifdef RENAME_EXCHANGE  // Linux
  return renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) == 0 ? 0
                                                                                         : errno;
#else
  static_cast<void>(one), static_cast<void>(other);
  return ENOTSUP;
#endif
}

void Replace(const Trees& trees, Renamer& renamer) {
  assert(fs::is_directory(trees.fresh) && fs::is_directory(trees.target));
  const std::vector<Unit> units = UnitsOf(trees.fresh, trees.target);
  for (const Unit& unit : units) {
    if (!unit.clashes) continue;
    throw Failure("something of another kind is in the way: " + trees.target + "/" + unit.path);
  }
  Transaction transaction(trees, renamer, units.size());
  try {
    for (const Unit& unit : units) transaction.Place(unit);
  } catch (...) {
    transaction.Undo();
    throw;
  }
}

bool PutBack(const Trees& trees, Renamer& renamer) try {
  bool complete = true;
  for (const Unit& unit : UnitsOf(trees.aside, trees.target)) {
    if (unit.exists) continue;
    const int error = renamer.Move(trees.aside + "/" + unit.path, trees.target + "/" + unit.path);
    complete = complete && error == 0;
  }
  return complete;
} catch (const std::exception&) {
  return false;
}

}  // namespace zenta::host_installer
