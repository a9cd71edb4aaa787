// Unpacks payloads into a new folder. Nobody else may write to it meanwhile.
//
// Checks every entry before libarchive writes it: its path, its kind, the target of a link, and
// whether the package already has an entry of that path. libarchive's own checks (no "..", no
// absolute path, no writing through a link) are enabled as a second line of defence.
#pragma once

#include <archive.h>

#include <cstddef>
#include <string>
#include <unordered_map>

#include "tools/host_installer/package_reader.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {

// The most entries of one package with a link count over 1. libarchive compares each of them with
// all earlier ones, which takes quadratic time.
inline constexpr std::size_t kMaxLinkedEntries = 20'000;

class Unpacker {
 public:
  // Unpacks into `folder`, and makes it the working folder of the process while this exists:
  // libarchive's checks need relative paths. Throws Failure if that fails. REQUIRES: the path is
  // absolute and the folder empty.
  explicit Unpacker(const std::string& folder, std::size_t max_entries = kMaxEntries);
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  ~Unpacker();

  // Unpacks every entry of a cpio archive below `below`, a PayloadPath. Keeps times, links and the
  // nine permission bits, and gives the owner of a folder full access to it. Does not keep owners:
  // everything belongs to the user who installs. Throws Failure at the first entry that is refused
  // or cannot be written; the caller has to remove what was written before.
  void Unpack(const std::string& below, archive* cpio);

 private:
  enum class Kind { kImplied, kFolder, kFile, kLink };  // kImplied: a folder without its own entry

  // Checks an entry and returns its path relative to the folder; "" for the payload's own root,
  // which exists already and keeps its permissions. Throws if the entry is refused.
  std::string Admit(const std::string& below, archive_entry* entry);
  void CheckLinks(const std::string& below, const std::string& path, archive_entry* entry) const;
  void Remember(const std::string& path, Kind kind);
  // The recorded kind of `path`. Records `kind` if there is none. Throws if the entries become too
  // many.
  Kind& Known(const std::string& path, Kind kind);

  std::size_t max_entries_;
  int former_folder_;  // descriptor; negative if the working folder could not be opened
  std::size_t linked_entries_ = 0;
  std::unordered_map<std::string, Kind> unpacked_;  // by path relative to the folder
};

}  // namespace zenta::host_installer
