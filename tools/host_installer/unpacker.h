// Unpacks payloads into one fresh folder, which nobody else writes to meanwhile.
//
// Every entry is judged before libarchive may write it: its path, its kind, what a link leads to,
// whether something of the same package is there already. libarchive's own guards (no "..", no
// absolute path, nothing written through a link) stand behind that as a second line.
#pragma once

#include <archive.h>

#include <cstddef>
#include <string>
#include <unordered_map>

#include "tools/host_installer/package_reader.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {

// The most entries of one package that may say that they have further names. libarchive compares each
// of these with all before it.
inline constexpr std::size_t kMaxLinkedEntries = 20'000;

class Unpacker {
 public:
  // Unpacks into `folder`, which is the working folder of the process for as long as this lives:
  // libarchive's guards want relative paths. Throws Failure if that fails. REQUIRES: it is
  // absolute, and empty.
  explicit Unpacker(const std::string& folder, std::size_t max_entries = kMaxEntries);
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;
  ~Unpacker();

  // Unpacks every entry of a cpio archive below `below`, a PayloadPath. Permissions (the nine bits,
  // and the owner may always do everything with a folder), times and links are kept; owners are
  // not, everything belongs to who installs. Throws Failure at the first entry that is refused or
  // cannot be written; what was written until then stays for the caller to remove.
  void Unpack(const std::string& below, archive* cpio);

 private:
  enum class Kind { kImplied, kFolder, kFile, kLink };  // kImplied: a folder not yet listed itself

  // The entry's path below the folder; "" for the payload's own root, which is there already and
  // keeps its permissions. Throws if the entry is refused.
  std::string Admit(const std::string& below, archive_entry* entry);
  void CheckLinks(const std::string& below, const std::string& path, archive_entry* entry) const;
  void Remember(const std::string& path, Kind kind);
  // What is known to be at the path; if nothing is, that it is of this kind from now on.
  Kind& Known(const std::string& path, Kind kind);

  std::size_t max_entries_;
  int former_folder_;  // descriptor; negative if the working folder could not be opened
  std::size_t linked_entries_ = 0;
  std::unordered_map<std::string, Kind> unpacked_;  // path below the folder -> what is there
};

}  // namespace zenta::host_installer
