// Makes flat packages and their payloads, honest and hostile ones alike.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace zenta::tools {

struct PayloadEntry {
  std::string path;
  unsigned mode = 0100644;  // kind and permissions, as stat has them
  std::string data = {};    // of a link its target
  unsigned inode = 0;       // other than 0: shared with every entry that has the same
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
