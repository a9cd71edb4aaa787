// Property lists on disk, XML or binary, whose root is a dictionary.
//
// Whatever cannot be read counts as an empty dictionary: a file that is missing, broken, not a
// dictionary, over kMaxPlistBytes, or built so that a short file unfolds into a huge tree. Nodes
// (plist_t) belong to the tree that they are in and live as long as it.
#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "datahelpers/bytes.h"

namespace zenta::installer {

// libplist goes one call deeper for each level of nesting; this bounds the levels.
inline constexpr std::size_t kMaxPlistBytes = 256 * 1024;

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;  // of a plist_t, which is a void*

// The dictionary in these bytes; null if they hold none.
[[nodiscard]] Plist ParsePlist(const signing::Bytes& bytes);

// The text of a string node; nullopt for another node or null.
[[nodiscard]] std::optional<std::string> StringOf(plist_t node);
// The same of the node under `key` of a dictionary.
[[nodiscard]] std::optional<std::string> StringUnder(plist_t dictionary, const char* key);

class PlistFile {
 public:
  // Reads the file at this host path, if it can be read. REQUIRES: the path is absolute.
  explicit PlistFile(std::string path);

  // The dictionary, which the caller may change. Never null.
  [[nodiscard]] plist_t root() const { return root_.get(); }

  // Whether a file is there that could not be opened or read, so that the dictionary says nothing of it.
  [[nodiscard]] bool unreadable() const { return found_ == Found::kUnreadable; }

  // Writes the dictionary as XML: all of it is on disk under another name before that takes the
  // file's name in one step. What was there but could not be understood is kept beside it, with
  // ".broken" behind its name; a file that could not even be read is not replaced. Throws
  // std::system_error; what was there is whole then, under one of the two names.
  void Save();

 private:
  enum class Found { kNothing, kDictionary, kBroken, kUnreadable };

  Found Read();

  std::string path_;
  Plist root_;
  Found found_;
};

}  // namespace zenta::installer
