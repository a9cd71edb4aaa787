// Replaces what is installed by a freshly unpacked tree, completely or not at all.
//
// Merges two trees of one file system unit by unit. A unit is moved in one piece: it is a bundle, a
// file, a link, or a folder that the target does not have yet. A plain folder that both trees have
// is not moved but walked into, and the target's keeps its permissions. So an updated bundle holds
// exactly what its package holds, and nothing else in its folder changes.
//
// A new unit and the old one exchange their names in one step. Where the file system cannot do
// that, the old unit is moved aside first; after a crash PutBack finds it there.
#pragma once

#include <string>
#include <vector>

namespace zenta::host_installer {

// The rename operations of a replacement. Each returns 0 or an errno value. Tests override them to
// make them fail.
class Renamer {
 public:
  virtual ~Renamer() = default;
  // Renames `from` to `to`. REQUIRES: `to` does not exist.
  virtual int Move(const std::string& from, const std::string& to);
  // Exchanges the two names atomically. REQUIRES: both exist.
  virtual int Exchange(const std::string& one, const std::string& other);
};

// Absolute paths of three folders of one file system.
struct Trees {
  std::string fresh;   // the units to install; after success, old units exchanged for them
  std::string target;  // where they are installed
  std::string aside;   // old units that were moved aside, at their paths relative to the target
};

// Moves every unit of `fresh` into `target`. On failure undoes the moves and throws Failure; old
// units in `aside` are left for PutBack.
void Replace(const Trees& trees, Renamer& renamer);

// Moves every unit of `aside` that is missing in `target` back there, after an interrupted or
// failed Replace. Returns false if that failed; the caller must then keep `aside`.
[[nodiscard]] bool PutBack(const Trees& trees, Renamer& renamer);

}  // namespace zenta::host_installer
