// Reads flat installer packages: XAR archives that hold either one component (PackageInfo and
// Payload at the root) or a product (Distribution beside NAME.pkg folders, one per component).
//
// A Payload is a cpio archive, plain or compressed once with gzip, bzip2 or xz. It is streamed:
// this code holds no more than a block of it in memory.
#pragma once

#include <archive.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/host_installer/package_file.h"
#include "tools/host_installer/xar_archive.h"

namespace zenta::host_installer {

struct ArchiveFree {
  void operator()(archive* opened) const { archive_free(opened); }
};
using Archive = std::unique_ptr<archive, ArchiveFree>;

// Throws Failure("what: " and libarchive's error text) unless `status` is ARCHIVE_OK. Warnings are
// failures too: libarchive warns if an entry on disk would differ from the one in the archive.
void CheckArchive(archive* opened, int status, const std::string& what);

struct Component {
  std::string folder;            // in the package: "" or "NAME.pkg"
  std::string install_location;  // of the payload's root: a PayloadPath relative to the target
  XarFile payload;
  bool has_scripts = false;
};

struct PackageDescription {
  std::string title;                  // "" if the package has none
  std::vector<Component> components;  // at least one
};

// Reads the whole package except the payloads, and verifies all checksums of what it reads. Throws
// Failure if it is no flat package, if a component that the Distribution names has no PackageInfo
// or no Payload, if two files have the same path, or if anything is damaged.
[[nodiscard]] PackageDescription ReadDescription(const PackageFile& package);

// Calls `unpack` for each component, with its payload opened as a cpio archive before the first
// entry. Reads the rest of the payload after `unpack` returns, so that every checksum is verified.
// Throws Failure if a payload is damaged, or if all payloads together exceed `limit` bytes when
// decompressed. The caller must then discard everything that was unpacked.
void ForEachPayload(const PackageFile& package, const PackageDescription& description,
                    std::uint64_t limit,
                    const std::function<void(const Component&, archive*)>& unpack);

}  // namespace zenta::host_installer
