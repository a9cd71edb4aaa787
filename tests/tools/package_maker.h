// Makes flat packages and their payloads, honest and hostile ones alike.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace zenta {

struct PayloadEntry {
  std::string path;
  unsigned mode = 0100644;  // kind and permissions, as stat has them
  std::string data = {};    // of a link its target
  unsigned inode = 0;       // equal ones with two links are hard links of each other
};

// A cpio archive in the POSIX.1-1988 form, whose header is octal digits.
inline std::string Cpio(std::vector<PayloadEntry> entries) {
  entries.push_back({"TRAILER!!!", 0, ""});
  std::string bytes;
  for (const PayloadEntry& entry : entries) {
    std::array<char, 80> header{};
    snprintf(header.data(), header.size(), "070707%06o%06o%06o%06o%06o%06o%06o%011o%06zo%011zo", 1u,
             entry.inode, entry.mode, 0u, 0u, entry.inode == 0 ? 1u : 2u, 0u, 1'000'000'000u,
             entry.path.size() + 1, entry.data.size());
    bytes.append(header.data(), 76).append(entry.path).append(1, '\0').append(entry.data);
  }
  return bytes;
}

// `filter`: an ARCHIVE_FILTER code.
inline std::string Compressed(const std::string& bytes, int filter) {
  std::string packed(bytes.size() + 65536, '\0');
  std::size_t size = 0;
  archive* const writer = archive_write_new();
  archive_write_set_format_raw(writer);
  archive_write_add_filter(writer, filter);
  archive_write_set_bytes_in_last_block(writer, 1);
  archive_write_open_memory(writer, packed.data(), packed.size(), &size);
  archive_entry* const entry = archive_entry_new();
  archive_entry_set_filetype(entry, AE_IFREG);
  archive_write_header(writer, entry);
  archive_write_data(writer, bytes.data(), bytes.size());
  archive_entry_free(entry);
  archive_write_close(writer);
  archive_write_free(writer);
  return packed.substr(0, size);
}

using PackageFiles = std::vector<std::pair<std::string, std::string>>;  // path -> contents

// Without checksums damage gets past the archive and meets the reader of the payload.
inline void WriteXar(const std::string& path, const PackageFiles& files, bool checksums = true) {
  archive* const writer = archive_write_new();
  archive_write_set_format_xar(writer);
  archive_write_set_options(
      writer, checksums ? "xar:compression=none" : "xar:compression=none,xar:checksum=none");
  archive_write_open_filename(writer, path.c_str());
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
}

inline std::string PackageInfoFor(const std::string& install_location) {
  return "<?xml version=\"1.0\"?><pkg-info format-version=\"2\" identifier=\"x\" "
         "install-location=\"" +
         install_location + "\"><payload/></pkg-info>";
}

inline PackageFiles ComponentPackage(const std::vector<PayloadEntry>& entries,
                                     const std::string& install_location = "/Library/Input Methods",
                                     int filter = ARCHIVE_FILTER_GZIP) {
  return {{"Bom", ""},
          {"PackageInfo", PackageInfoFor(install_location)},
          {"Payload", Compressed(Cpio(entries), filter)}};
}

}  // namespace zenta
