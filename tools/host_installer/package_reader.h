// Reads flat installer packages: XAR archives that hold either one component (PackageInfo and
// Payload at the root) or a product (Distribution beside NAME.pkg folders, one per component).
//
// A Payload is a cpio archive, plain or compressed once with gzip, bzip2 or xz. It is streamed out
// of the package: nothing here holds more of it than a block.
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

// Throws Failure with the archive's own words, after "what: ", unless `status` is ARCHIVE_OK.
// Warnings are failures too: libarchive warns where an entry would come out other than it went in.
void CheckArchive(archive* opened, int status, const std::string& what);

struct Component {
  std::string folder;            // inside the package: "" or "NAME.pkg"
  std::string install_location;  // where the payload's root goes: a PayloadPath below the target
  XarFile payload;
  bool has_scripts = false;
};

struct PackageDescription {
  std::string title;                  // "" if the package does not say
  std::vector<Component> components;  // at least one
};

// Reads everything of the package but its payloads, comparing all checksums. Throws Failure if it is
// no flat package, if a component that the Distribution names has no PackageInfo or no Payload, or
// if anything is there twice or damaged.
[[nodiscard]] PackageDescription ReadDescription(const PackageFile& package);

// Calls `unpack` with each component's payload, opened as a cpio archive whose first entry is next.
// When it returns the rest of the payload is read too, so that every checksum is compared. Throws
// Failure if a payload is damaged, or longer than `limit` bytes when decompressed (all
// payloads together). Whatever was unpacked until then must not be used.
void ForEachPayload(const PackageFile& package, const PackageDescription& description,
                    std::uint64_t limit,
                    const std::function<void(const Component&, archive*)>& unpack);

}  // namespace zenta::host_installer
