#include "tools/packaging/archive_writer.h"

#include <new>
#include <utility>

#include "tools/common/failure.h"

namespace zenta::packaging {

using tools::Failure;

ArchiveWriter::ArchiveWriter(Kind kind, int descriptor, std::string name)
    : name_(std::move(name)), writer_(archive_write_new()), entry_(archive_entry_new()) {
  if (!writer_ || !entry_) throw std::bad_alloc();
  archive* writer = writer_.get();
  if (kind == Kind::kXar) {
    Check(archive_write_set_format_xar(writer));
    Check(archive_write_set_options(
        writer, "xar:compression=none,xar:checksum=sha1,xar:toc-checksum=sha1"));
  } else {
    Check(archive_write_set_format_cpio_odc(writer));
    Check(archive_write_add_filter_gzip(writer));
    Check(archive_write_set_options(writer, "gzip:!timestamp"));
  }
  Check(archive_write_set_bytes_in_last_block(writer, 1));  // no padding at the end
  Check(archive_write_open_fd(writer, descriptor));
}

void ArchiveWriter::Begin(const ArchiveEntry& entry) {
  archive_entry* header = archive_entry_clear(entry_.get());
  archive_entry_copy_pathname(header, entry.name.c_str());
  archive_entry_set_mode(header, entry.mode);
  archive_entry_set_size(header, static_cast<la_int64_t>(entry.size));
  archive_entry_set_mtime(header, entry.modified, 0);
  archive_entry_set_nlink(header, 1);
  if (!entry.link_target.empty()) archive_entry_copy_symlink(header, entry.link_target.c_str());
  Check(archive_write_header(writer_.get(), header));
}

void ArchiveWriter::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const la_ssize_t written = archive_write_data(writer_.get(), bytes.data(), bytes.size());
    Check(written);
    // The library cuts what goes beyond the announced size without an error.
    if (written == 0) throw Failure(name_ + ": more bytes than its entry was announced with");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
}

void ArchiveWriter::Finish() { Check(archive_write_close(writer_.get())); }

// Warnings count as failures: they tell of an entry that comes out other than it went in.
void ArchiveWriter::Check(la_ssize_t result) const {
  if (result >= ARCHIVE_OK) return;
  const char* reason = archive_error_string(writer_.get());
  throw Failure("cannot write " + name_ + ": " + (reason != nullptr ? reason : "unknown error"));
}

}  // namespace zenta::packaging
