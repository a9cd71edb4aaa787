// XAR archives, the container of flat packages: a header, a compressed XML table of contents, and a
// heap that holds the files.
//
// This code reads the table itself instead of using libarchive, in order to bound it and to require
// every checksum: the table's own, and that of each file's bytes in the heap.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/host_installer/byte_source.h"
#include "tools/host_installer/package_file.h"

namespace zenta::host_installer {

// A regular file of the archive.
struct XarFile {
  std::string folder;  // "" at the root
  std::string name;
  std::uint64_t offset = 0;         // of its bytes in the package
  std::uint64_t size = 0;           // in bytes, decoded
  std::uint64_t length = 0;         // in bytes, as stored in the package
  bool deflated = false;            // stored as a zlib stream; otherwise plain
  std::string checksum_style = {};  // "sha1", "sha256" or "sha512"; "" for a file without contents
  std::string checksum = {};        // of the stored bytes, in lower-case hexadecimal digits
};

// Every regular file of the archive, in the order of its table. Throws Failure if
// - this is no XAR archive;
// - its table is over kMaxXmlBytes or does not match its checksum;
// - a file lies outside the archive, has no checksum of SHA-1 or better, or is encoded otherwise
//   than as a zlib stream;
// - the files together are longer than the package. This bounds the time of reading all of them.
[[nodiscard]] std::vector<XarFile> ReadXarTable(const PackageFile& package);

// OpenStored reads a file's bytes as stored, OpenContents decodes them. Both sources throw Failure
// at the end if the checksum does not match, the second one also if the decoded size differs from
// that in the table. REQUIRES: `package` outlives the result, and `file` is from its table.
[[nodiscard]] std::unique_ptr<ByteSource> OpenStored(const PackageFile& package,
                                                     const XarFile& file);
[[nodiscard]] std::unique_ptr<ByteSource> OpenContents(const PackageFile& package,
                                                       const XarFile& file);

}  // namespace zenta::host_installer
