// Reads flat installer packages: XAR archives that hold either one component (PackageInfo and
// Payload at the root) or a product (Distribution beside NAME.pkg folders, one per component).
//
// A Payload is a cpio archive, plain or compressed once with gzip, bzip2 or xz. It is streamed out
// of the package: nothing here holds more of it than a block. Every failure throws Failure.
#pragma once

#include <archive.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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
  bool has_payload = false;
  bool has_scripts = false;
};

struct PackageDescription {
  std::string title;                  // "" if the package does not say
  std::vector<Component> components;  // at least one, each with a valid PackageInfo
};

// The description of the package in this file. Throws if it is no flat package, if a component that
// the Distribution names is missing or has no PackageInfo, or if anything is there twice.
[[nodiscard]] PackageDescription ReadDescription(const std::string& package);

// Calls `unpack` with each component's payload, opened as a cpio archive whose first entry is next,
// in the order of the package. When it returns the rest of the payload is read too, so that a
// damaged end is noticed. Throws if a payload is missing, damaged, or longer than `limit` bytes
// when decompressed (all payloads together).
void ForEachPayload(const std::string& package, const PackageDescription& description,
                    std::uint64_t limit,
                    const std::function<void(const Component&, archive*)>& unpack);

}  // namespace zenta::host_installer
