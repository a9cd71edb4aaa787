// Property lists on disk, XML or binary, whose root is a dictionary.
//
// A file that cannot be read or understood counts as an empty dictionary: one that is missing,
// broken, not a dictionary, over kMaxPlistBytes, or built so that a short file expands to a huge
// tree. Nodes (plist_t) belong to their tree and are freed with it.
#pragma once

#include <plist/plist.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "datahelpers/bytes.h"

namespace zenta::installer {

// libplist's parser recurses for each level of nesting; the limit on the size bounds the recursion.
inline constexpr std::size_t kMaxPlistBytes = 256 * 1024;

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;  // owns a plist_t, which is a void*

// Parses the bytes of an XML or binary property list. Null unless its root is a dictionary.
[[nodiscard]] Plist ParsePlist(const signing::Bytes& bytes);

// The text of a string node; nullopt for another kind of node or null.
[[nodiscard]] std::optional<std::string> StringOf(plist_t node);
// The same for the node under `key` of a dictionary.
[[nodiscard]] std::optional<std::string> StringUnder(plist_t dictionary, const char* key);

class PlistFile {
 public:
  // Reads the file at this host path. Does not fail: see unreadable(). REQUIRES: the path is
  // absolute.
  explicit PlistFile(std::string path);

  // The dictionary, which the caller may change. Never null.
  [[nodiscard]] plist_t root() const { return root_.get(); }

  // Whether a file exists that could not be opened or read. The dictionary is empty then.
  [[nodiscard]] bool unreadable() const { return found_ == Found::kUnreadable; }

  // Replaces the file atomically by the dictionary as XML (replace_file.h). A file that could be
  // read but not understood is kept, renamed to end in ".broken". One that could not be read is not
  // replaced. Throws std::system_error on failure; the former file then still exists, under one of
  // the two names.
  void Save();

 private:
  enum class Found { kNothing, kDictionary, kBroken, kUnreadable };

  Found Read();

  std::string path_;
  Plist root_;
  Found found_;
};

}  // namespace zenta::installer
