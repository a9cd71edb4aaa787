// XAR archives, the container of flat packages: a header, a compressed XML table of contents, and a
// heap that holds the files.
//
// The table is read here, not by libarchive, so that it is bounded and every checksum is demanded:
// the table's own, and one of each file as it lies in the heap.
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
  std::uint64_t offset = 0;         // in the package
  std::uint64_t size = 0;           // bytes in the package
  std::uint64_t length = 0;         // bytes when decoded
  bool deflated = false;            // as a zlib stream; otherwise it lies there as it is
  std::string checksum_style = {};  // "sha1", "sha256" or "sha512"; "" for a file without contents
  std::string checksum = {};        // of the bytes in the package: lower-case hexadecimal digits
};

// Every regular file of the archive, in the order of its table. Throws Failure if this is no XAR
// archive; if its table is over kMaxXmlBytes or does not fit its checksum; if a file lies outside the
// archive, has no checksum of SHA-1 or better, or an encoding other than zlib's; and if the files
// together are longer than the package, so that reading all of them takes no longer than reading it.
[[nodiscard]] std::vector<XarFile> ReadXarTable(const PackageFile& package);

// The bytes of a file as they lie in the package, and its contents. Both throw Failure at the end
// if the checksum does not match; the contents also if their size is not what the table says.
// REQUIRES: `package` outlives the result, and `file` is of its table.
[[nodiscard]] std::unique_ptr<ByteSource> OpenStored(const PackageFile& package,
                                                     const XarFile& file);
[[nodiscard]] std::unique_ptr<ByteSource> OpenContents(const PackageFile& package,
                                                       const XarFile& file);

}  // namespace zenta::host_installer
