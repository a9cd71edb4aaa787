#include "tools/host_installer/unpacker.h"

#include <archive_entry.h>
#include <fcntl.h>
#include <unistd.h>

#include <cassert>
#include <cerrno>
#include <optional>

#include "tools/common/failure.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;
using tools::SystemFailure;

constexpr int kFlags = ARCHIVE_EXTRACT_PERM | ARCHIVE_EXTRACT_TIME |
                       ARCHIVE_EXTRACT_SECURE_SYMLINKS | ARCHIVE_EXTRACT_SECURE_NODOTDOT |
                       ARCHIVE_EXTRACT_SECURE_NOABSOLUTEPATHS;

[[noreturn]] void Refuse(const std::string& path, const std::string& reason) {
  throw Failure("the payload's entry " + path + " is refused: " + reason);
}

std::string CheckedPath(const char* text) {
  if (text == nullptr) throw Failure("the payload holds an entry without a name");
  const std::optional<std::string> path = PayloadPath(text);
  if (!path)
    Refuse(text, "its path leaves the target, is too long, or has a name of the installer's own");
  return *path;
}

// Writes an entry that Admit has accepted. Drops the set-ID and sticky bits, which an input method
// does not need. Gives a folder's owner full access, because otherwise the next update could not
// remove it.
void Write(archive* cpio, archive_entry* entry, archive* disk, const std::string& path) {
  const bool folder = archive_entry_filetype(entry) == AE_IFDIR;
  archive_entry_set_pathname(entry, path.c_str());
  archive_entry_set_perm(entry, (archive_entry_perm(entry) & 0777) | (folder ? 0700 : 0));
  assert(!path.empty() && path.front() != '/');
  CheckArchive(disk, archive_write_header(disk, entry), path);
  const void* block = nullptr;
  std::size_t size = 0;
  la_int64_t offset = 0;
  int status = ARCHIVE_OK;
  while ((status = archive_read_data_block(cpio, &block, &size, &offset)) == ARCHIVE_OK) {
    const la_ssize_t written = archive_write_data_block(disk, block, size, offset);
    if (written < 0) CheckArchive(disk, static_cast<int>(written), path);
  }
  if (status != ARCHIVE_EOF) CheckArchive(cpio, status, "the payload is damaged in " + path);
  CheckArchive(disk, archive_write_finish_entry(disk), path);
}

}  // namespace

Unpacker::Unpacker(const std::string& folder, std::size_t max_entries)
    : max_entries_(max_entries), former_folder_(open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  assert(folder.starts_with('/'));
  if (chdir(folder.c_str()) == 0) return;
  const int error = errno;
  if (former_folder_ >= 0) close(former_folder_);
  throw SystemFailure("cannot enter " + folder, error);
}

// Returns to the former working folder. If that fails, changes to "/", because the current one is
// about to be removed.
Unpacker::~Unpacker() {
  if ((former_folder_ < 0 || fchdir(former_folder_) != 0) && chdir("/") != 0) return;
  if (former_folder_ >= 0) close(former_folder_);
}

Unpacker::Kind& Unpacker::Known(const std::string& path, Kind kind) {
  Kind& known = unpacked_.try_emplace(path, kind).first->second;
  if (unpacked_.size() > max_entries_) throw Failure("the package has too many entries");
  return known;
}

// Records an entry. Refuses a path that occurs twice or has a parent that is not a folder.
void Unpacker::Remember(const std::string& path, Kind kind) {
  for (std::size_t slash = path.find('/'); slash != std::string::npos;
       slash = path.find('/', slash + 1)) {
    const Kind above = Known(path.substr(0, slash), Kind::kImplied);
    if (above != Kind::kFolder && above != Kind::kImplied) {
      Refuse(path, "it lies behind something that is no folder");
    }
  }
  const bool fresh = !unpacked_.contains(path);
  Kind& known = Known(path, kind);
  const bool spelled_out = known == Kind::kImplied && kind == Kind::kFolder;
  if (!fresh && !spelled_out) Refuse(path, "it is there twice");
  known = kind;
}

// A hard link may only lead to a regular file that was already unpacked from this package. Its
// target becomes the full path relative to the folder.
void Unpacker::CheckLinks(const std::string& below, const std::string& path,
                          archive_entry* entry) const {
  if (const char* target = archive_entry_symlink(entry); target != nullptr) {
    if (!LinkStaysInside(path, target)) Refuse(path, "it links to " + std::string(target));
  }
  if (const char* target = archive_entry_hardlink(entry); target != nullptr) {
    const std::string inside = CheckedPath(target);  // "" for the payload's root
    const std::string full = inside.empty() ? below : JoinPath(below, inside);
    const auto known = unpacked_.find(full);
    if (known == unpacked_.end() || known->second != Kind::kFile) {
      Refuse(path, "it is a hard link to " + std::string(target));
    }
    archive_entry_set_hardlink(entry, full.c_str());
  }
}

std::string Unpacker::Admit(const std::string& below, archive_entry* entry) {
  if (archive_entry_nlink(entry) > 1 && ++linked_entries_ > kMaxLinkedEntries) {
    throw Failure("the package has too many hard links");
  }
  const std::string path = CheckedPath(archive_entry_pathname(entry));
  const auto type = archive_entry_filetype(entry);
  if (type != AE_IFREG && type != AE_IFDIR && type != AE_IFLNK) {
    Refuse(path, "it is neither a file nor a folder nor a symbolic link");
  }
  if (path.empty()) {
    if (type != AE_IFDIR) Refuse(".", "the payload's root is a folder");
    return "";
  }
  CheckLinks(below, path, entry);
  std::string full = JoinPath(below, path);
  Remember(full, type == AE_IFDIR ? Kind::kFolder : type == AE_IFREG ? Kind::kFile : Kind::kLink);
  return full;
}

void Unpacker::Unpack(const std::string& below, archive* cpio) {
  const Archive disk(archive_write_disk_new());
  if (disk == nullptr) throw Failure("out of memory");
  CheckArchive(disk.get(), archive_write_disk_set_options(disk.get(), kFlags), "unpacking");
  archive_entry* entry = nullptr;
  int status = ARCHIVE_OK;
  while ((status = archive_read_next_header(cpio, &entry)) == ARCHIVE_OK) {
    const std::string path = Admit(below, entry);
    if (!path.empty()) Write(cpio, entry, disk.get(), path);
  }
  if (status != ARCHIVE_EOF) CheckArchive(cpio, status, "the payload is damaged");
  CheckArchive(disk.get(), archive_write_close(disk.get()), "unpacking");
}

}  // namespace zenta::host_installer
