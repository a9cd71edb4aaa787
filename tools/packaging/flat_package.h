// Writes a bundle as a component flat package, the kind that the system installer takes with -pkg.
//
// A flat package is an XAR archive with three files at its root:
//
//   Bom          the bill of materials; EMPTY here. Nothing but macOS's own installer reads it, and
//                only macOS has a program that makes one: a package for real Macs is built there.
//   PackageInfo  XML: identifier, version, install location, sizes, the bundle's versions
//   Payload      gzip of a cpio archive (POSIX.1-1988 "odc"): "." and "./NAME.app/...", owned by
//                root
//
// Packages are reproducible: the same files with the same permissions and times make the same
// package, byte for byte, if the version of zlib is the same. Entries are sorted by name and carry
// no inode numbers, owners or clock times of the packing machine, and the archive has the time of
// its newest entry.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

namespace zenta::packaging {

struct PackageOptions {
  std::filesystem::path bundle;  // a folder with Contents/Info.plist
  std::filesystem::path out;     // replaced if it exists, untouched if packing fails; "-": standard
                                 // output, where nothing is written before the package is whole
  std::string identifier;        // empty: the bundle's
  std::string version;           // empty: the bundle's short version, else its build version
  std::string install_location = "/Library/Input Methods";  // absolute, no ".."
  // Is called with the bytes of the bundle's files that are packed so far, and of all; may be null.
  std::function<void(std::uint64_t done, std::uint64_t all)> progress;
};

struct PackageSummary {
  std::string identifier;
  std::string version;
  std::uint64_t entries = 0;        // files, folders and links, "." included
  std::uint64_t content_bytes = 0;  // of the files
  std::uint64_t package_bytes = 0;
};

// Packs a bundle. Symbolic links stay links, and permissions are kept; a file with several hard
// links becomes several files. SOURCE_DATE_EPOCH in the environment (whole seconds since 1970)
// replaces every modification time. The payload streams into a temporary file beside `out`; memory
// holds a few blocks of it for each core.
//
// Throws Failure for a bundle without identifier or version; for a value that a package cannot
// hold; for a file that is no regular file, folder or symbolic link, is 8 GiB or longer, changes
// meanwhile, or is `out`; for every path and link that the installer would refuse; and for every
// error of the disk.
PackageSummary WriteFlatPackage(const PackageOptions& options);

}  // namespace zenta::packaging
