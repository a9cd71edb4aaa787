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
  std::string path;  // below both trees
  bool exists;       // in the tree that it is to go to
  bool clashes;      // one is a folder, the other is not: neither may vanish for the other
};

// The units of `from`/`below`, in no order. A plain folder that both sides have is walked into.
// REQUIRES: it is a folder in both trees.
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

// In the order of their paths, so that runs on the same trees do the same.
std::vector<Unit> UnitsOf(const std::string& from, const std::string& to) {
  std::vector<Unit> units;
  CollectUnits(from, to, "", units);
  std::sort(units.begin(), units.end(),
            [](const Unit& a, const Unit& b) { return a.path < b.path; });
  return units;
}

// One replacement under way: what was done, so that it can be undone.
class Transaction {
 public:
  Transaction(const Trees& trees, Renamer& renamer, std::size_t most_steps)
      : trees_(trees), renamer_(renamer) {
    done_.reserve(most_steps);  // so that no step is done and then not recorded
  }

  void Place(const Unit& unit) {
    Step step{trees_.fresh + "/" + unit.path, trees_.target + "/" + unit.path, unit.exists};
    // At no moment is there neither the old unit nor the new one, if the file system can exchange.
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

  // Newest first. A step that cannot be undone leaves the new unit in place, which is whole too.
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
    bool exchanged;  // or moved
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
