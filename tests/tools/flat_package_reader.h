// Reads XAR and cpio archives from memory, compressed with gzip or not.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

namespace zenta::tools {

struct ReadEntry {
  std::string name;
  mode_t mode = 0;
  std::int64_t owner = -1;
  std::time_t modified = 0;
  std::string link_target;
  std::string contents;
};

// All entries with their contents. Empty if `bytes` are no archive.
inline std::vector<ReadEntry> ReadArchive(std::string_view bytes) {
  archive* const reader = archive_read_new();
  archive_read_support_format_xar(reader);
  archive_read_support_format_cpio(reader);
  archive_read_support_filter_gzip(reader);
  archive_read_open_memory(reader, bytes.data(), bytes.size());
  std::vector<ReadEntry> entries;
  archive_entry* header = nullptr;
  while (archive_read_next_header(reader, &header) == ARCHIVE_OK) {
    const char* link = archive_entry_symlink(header);
    ReadEntry entry{archive_entry_pathname(header), archive_entry_mode(header),
                    archive_entry_uid(header),      archive_entry_mtime(header),
                    link != nullptr ? link : "",    {}};
    entry.contents.resize(static_cast<std::size_t>(archive_entry_size(header)));
    archive_read_data(reader, entry.contents.data(), entry.contents.size());
    entries.push_back(entry);
  }
  archive_read_free(reader);
  return entries;
}

}  // namespace zenta::tools
