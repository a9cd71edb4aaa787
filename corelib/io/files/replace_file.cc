#include "corelib/io/files/replace_file.h"

#include <fcntl.h>
#include <stdlib.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "corelib/io/files/descriptor.h"
#include "corelib/io/files/detail/fresh_file.h"

namespace tstl::detail {
namespace {

using Text = BufferRef<unsigned char>;

constexpr int kToRead = O_RDONLY | O_NONBLOCK;

// Syncs a file that is no folder to disk, and stores its state in `info`. A file without contents,
// like a pipe (EINVAL, ENOTSUP), has nothing to lose. Returns 0, or an errno value.
int sync_path(const char* path, struct stat& info) {
  const Descriptor file(open_file(path, kToRead));
  if (!file || ::fstat(file.fd(), &info) != 0) return errno;
  if (S_ISDIR(info.st_mode)) return EISDIR;
  const int error = sync_file(file.fd());
  return error == EINVAL || error == ENOTSUP ? 0 : error;
}

bool is_same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The part of a path after the last slash, and the folder that it is in.
Text name_of(Text path) { return path.sub_tail(path.findback_chr('/') + 1); }
Text folder_of(Text path) { return path.sub_head(path.len() - name_of(path).len()); }

bool look_at_folder(Text path, struct stat& info) {
  const Text folder = folder_of(path);
  const Buffer<unsigned char> name(folder ? folder : Text("."));
  return ::stat(c_path(name), &info) == 0;
}

bool are_same(Text name, Text other) {
#ifdef __APPLE__  // where most file systems ignore case
  return name.len() == other.len() &&
         ::strncasecmp(name.std_view().data(), other.std_view().data(), name.len()) == 0;
#else
  return name == other;
#endif
}

// Whether two paths of one file are the same directory entry, rather than two hard links.
bool is_same_entry(const char* path, const char* other) {
  struct stat link, folder, other_folder;
  if (::lstat(path, &link) != 0 || S_ISLNK(link.st_mode)) return false;
  return link.st_nlink == 1 ||
         (are_same(name_of(path), name_of(other)) && look_at_folder(path, folder) &&
          look_at_folder(other, other_folder) && is_same_file(folder, other_folder));
}

// rename(). If it fails because of what the target is, removes the target and tries again. Returns
// 0, or an errno value.
int rename_over(const char* from, const char* to) {
  if (std::rename(from, to) == 0) return 0;
  const int error = errno;
  const bool in_the_way =
      error == EISDIR || error == ENOTDIR || error == EEXIST || error == ENOTEMPTY;
  return in_the_way && std::remove(to) == 0 && std::rename(from, to) == 0 ? 0 : error;
}

// Finds the path to replace: the target's own or, for a link, the one that it leads to. False with
// errno set.
bool find_name(const char* path, bool is_link, Buffer<unsigned char>& name) {
  char* const resolved = is_link ? ::realpath(path, nullptr) : nullptr;
  if (is_link && resolved == nullptr) return false;
  name.assign(Text(is_link ? resolved : path));
  ::free(resolved);
  if (name.is_empty()) errno = *path == 0 ? ENOENT : ENOMEM;
  return !name.is_empty();
}

}  // namespace

int replace_file(const char* new_path, const char* target_path) noexcept {
  if (target_path == nullptr) return EINVAL;
  struct stat fresh = {}, target = {};
  if (const int error = sync_path(new_path, fresh)) return error;
  if (::lstat(target_path, &target) == 0 && is_same_file(fresh, target)) {
    // rename() would leave both names, or replace the target of a link by the link.
    if (!is_same_entry(new_path, target_path)) (void)std::remove(new_path);
    return 0;
  }
  if (const int error = rename_over(new_path, target_path)) {
    (void)std::remove(new_path);
    return error;
  }
  return Descriptor(open_file(target_path, kToRead)) ? 0 : errno;
}

FileReplacement::FileReplacement(const char* target) noexcept {
  fd_ = open(target);  // here, because the paths must be constructed first
  if (fd_ < 0) error_ = errno;
}

int FileReplacement::open(const char* target) noexcept {
  struct stat link = {}, old = {};
  const bool exists = target != nullptr && ::stat(target, &old) == 0;
  const bool is_link = target != nullptr && ::lstat(target, &link) == 0 && S_ISLNK(link.st_mode);
  if (target == nullptr || (exists ? !S_ISREG(old.st_mode) : is_link)) {
    return open_file(target, O_WRONLY | O_CREAT | O_TRUNC);
  }
  if (!find_name(target, is_link, target_)) return -1;
  const mode_t mode = exists ? (old.st_mode & 0777) | S_IRUSR | S_IWUSR : 0666;
  const int fd = open_fresh_file(folder_of(target_), mode, fresh_);
  if (fd < 0) fresh_.reset();
  if (fd >= 0 && exists) (void)::fchmod(fd, mode);  // the bits that the umask has cleared
  return fd;
}

int FileReplacement::commit() noexcept {
  int error = close_file(std::exchange(fd_, -1));
  if (error == 0 && !fresh_.is_empty()) error = replace_file(c_path(fresh_), c_path(target_));
  if (error == 0) fresh_.reset();  // the file no longer has this name
  discard();
  return error;
}

void FileReplacement::discard() noexcept {
  (void)close_file(std::exchange(fd_, -1));
  if (!fresh_.is_empty()) (void)::unlink(c_path(fresh_));
  fresh_.reset();
}

}  // namespace tstl::detail
