// Puts a freshly unpacked tree into the place of what is installed, as a whole or not at all.
//
// Two trees of the same file system are merged unit by unit. A unit is the topmost thing that is
// moved in one piece: a bundle, a file, a link, or a folder that the target does not have yet.
// Plain folders that both sides have are only walked through and keep their permissions. So an
// updated bundle holds exactly what its package holds, and nothing else in its folder is touched.
//
// A unit takes the place of an old one by exchanging the two names in one step. Where the file
// system cannot do that the old unit is moved aside first; PutBack finds it there after a crash.
#pragma once

#include <string>
#include <vector>

namespace zenta::host_installer {

// The renames that a replacement is made of. Each returns 0 or an errno value. Tests fail them.
class Renamer {
 public:
  virtual ~Renamer() = default;
  // Names `from` `to`, which does not exist.
  virtual int Move(const std::string& from, const std::string& to);
  // Swaps the two names, both of which exist.
  virtual int Exchange(const std::string& one, const std::string& other);
};

// Absolute paths of three folders of one file system.
struct Trees {
  std::string fresh;   // what is to be installed; after success it holds old units, if anything
  std::string target;  // where to
  std::string aside;   // old units, at their paths below the target
};

// Moves every unit of `fresh` into `target`. Throws Failure after having put everything back that
// was moved, except what PutBack has to bring from `aside`.
void Replace(const Trees& trees, Renamer& renamer);

// Moves every unit of `aside` back that is missing in `target`: the end of an interrupted or failed
// Replace. False if that was not possible, in which case `aside` must be kept.
[[nodiscard]] bool PutBack(const Trees& trees, Renamer& renamer);

}  // namespace zenta::host_installer
