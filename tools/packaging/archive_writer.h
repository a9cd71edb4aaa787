// A thin owner of libarchive's writer that turns its results into exceptions.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>

namespace zenta::packaging {

// One file, folder or link of an archive. Owner and group are always 0, root's; link counts and
// device numbers are left out, so that equal contents make equal bytes.
struct ArchiveEntry {
  std::string name = {};
  mode_t mode = 0;               // kind and permissions
  std::uint64_t size = 0;        // bytes; 0 unless a regular file
  std::time_t modified = 0;      // seconds since 1970
  std::string link_target = {};  // of a symbolic link
};

class ArchiveWriter {
 public:
  enum class Kind {
    kXar,          // nothing compressed; for parts that are compressed already
    kGzippedCpio,  // the portable ASCII cpio ("odc"), gzip without a time stamp
  };

  // Writes to an open file, which stays the caller's. `name` is for messages.
  ArchiveWriter(Kind kind, int descriptor, std::string name);

  // Begins an entry. Its bytes, exactly entry.size of them, follow by Write.
  void Begin(const ArchiveEntry& entry);
  void Write(std::string_view bytes);
  // Ends the archive; the last call. Without it the file is of no use.
  void Finish();

 private:
  struct Free {
    void operator()(archive* writer) const { archive_write_free(writer); }
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
  };
  void Check(la_ssize_t result) const;

  std::string name_;
  std::unique_ptr<archive, Free> writer_;
  std::unique_ptr<archive_entry, Free> entry_;
};

}  // namespace zenta::packaging
