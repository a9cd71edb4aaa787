// Makes flat packages and their payloads, valid and hostile ones.
#pragma once

#include <archive.h>
#include <archive_entry.h>
#include <openssl/sha.h>
#include <zlib.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace zenta::tools {

struct PayloadEntry {
  std::string path;
  unsigned mode = 0100644;  // kind and permissions, as stat has them
  std::string data = {};    // contents; of a link its target
  unsigned inode = 0;       // entries with one inode other than 0 are hard links of one file
};

// A cpio archive in the POSIX.1-1988 form, whose header is octal digits.
inline std::string Cpio(std::vector<PayloadEntry> entries) {
  entries.push_back({"TRAILER!!!", 0});
  std::string bytes;
  for (const auto& [path, mode, data, inode] : entries) {
    std::array<char, 80> header{};
    snprintf(header.data(), header.size(), "070707000001%06o%06o%024o%011o%06zo%011zo", inode, mode,
             inode == 0 ? 01000000u : 02000000u, 1'000'000'000u, path.size() + 1, data.size());
    bytes.append(header.data(), 76).append(path).append(1, '\0').append(data);
  }
  return bytes;
}

using PackageFiles = std::vector<std::pair<std::string, std::string>>;  // path -> contents

// Writes the files as an archive into memory. Codes and options are libarchive's.
inline std::string WriteArchive(const PackageFiles& files, int format, int filter,
                                const char* options) {
  std::string bytes(65536, '\0');
  for (const auto& file : files) bytes.resize(bytes.size() + 2 * file.second.size());
  std::size_t size = 0;
  archive* const writer = archive_write_new();
  archive_write_set_format(writer, format);
  archive_write_add_filter(writer, filter);
  archive_write_set_options(writer, options);
  archive_write_set_bytes_in_last_block(writer, 1);
  archive_write_open_memory(writer, bytes.data(), bytes.size(), &size);
  for (const auto& [name, contents] : files) {
    archive_entry* const entry = archive_entry_new();
    archive_entry_set_pathname_utf8(entry, name.c_str());
    archive_entry_set_mode(entry, AE_IFREG | 0644);
    archive_entry_set_size(entry, static_cast<la_int64_t>(contents.size()));
    archive_write_header(writer, entry);
    archive_write_data(writer, contents.data(), contents.size());
    archive_entry_free(entry);
  }
  archive_write_close(writer);
  archive_write_free(writer);
  return bytes.substr(0, size);
}

inline std::string Compressed(const std::string& bytes, int filter = ARCHIVE_FILTER_GZIP) {
  return WriteArchive({{"", bytes}}, ARCHIVE_FORMAT_RAW, filter, "");
}

inline std::string Xar(const PackageFiles& files, const char* options = "compression=none") {
  return WriteArchive(files, ARCHIVE_FORMAT_XAR, ARCHIVE_FILTER_NONE, options);
}

// A XAR archive: its table of contents as XML, and the heap after the table's checksum.
struct XarParts {
  std::string table;
  std::string files;
};

inline constexpr std::size_t kXarHeader = 28, kXarChecksum = 20;  // SHA-1

inline XarParts PartsOf(const std::string& xar) {
  const auto size =
      static_cast<unsigned char>(xar[14]) * 256u + static_cast<unsigned char>(xar[15]);
  uLongf length = 1 << 20;
  std::string table(length, '\0');
  uncompress(reinterpret_cast<Bytef*>(table.data()), &length,
             reinterpret_cast<const Bytef*>(xar.data()) + kXarHeader, size);
  return {table.substr(0, length), xar.substr(kXarHeader + size + kXarChecksum)};
}

// Makes an archive of any table, right or wrong. The table's own checksum is right.
inline std::string XarOf(const XarParts& parts) {
  uLongf size = compressBound(parts.table.size());
  std::string table(size, '\0'), checksum(kXarChecksum, '\0'), header = "xar!";
  compress(reinterpret_cast<Bytef*>(table.data()), &size,
           reinterpret_cast<const Bytef*>(parts.table.data()), parts.table.size());
  SHA1(reinterpret_cast<const unsigned char*>(table.data()), size,
       reinterpret_cast<unsigned char*>(checksum.data()));
  const auto put = [&](std::size_t value, int bytes) {
    while (bytes-- > 0) header += static_cast<char>(bytes < 8 ? value >> 8 * bytes : 0);
  };
  put(kXarHeader, 2), put(1, 2), put(size, 8), put(parts.table.size(), 8), put(1, 4);
  return header + table.substr(0, size) + checksum + parts.files;
}

inline std::string PackageInfoFor(const std::string& install_location) {
  return "<pkg-info identifier=\"x\" install-location=\"" + install_location + "\"/>";
}

inline PackageFiles ComponentPackage(const std::vector<PayloadEntry>& entries,
                                     const std::string& install_location = "/Library/Input Methods",
                                     int filter = ARCHIVE_FILTER_GZIP) {
  return {{"PackageInfo", PackageInfoFor(install_location)},
          {"Payload", Compressed(Cpio(entries), filter)}};
}

}  // namespace zenta::tools
