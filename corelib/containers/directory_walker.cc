#include "corelib/containers/directory_walker.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>
#include <utility>

namespace tstl {
namespace {

using Kind = detail::EntryKind;

constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

char* chars(unsigned char* text) { return reinterpret_cast<char*>(text); }

// From a directory, whose descriptor is closed, to one below it. -1 when there is no way.
int step(int from, const char* path) {
  const int folder = ::openat(from, path, kFlags);
  if (from >= 0) ::close(from);
  return folder;
}

// A descriptor of a directory, or -1. The path may be longer than a system call takes: it is gone in
// pieces then. REQUIRES: it is not empty.
int open_folder(char* path) {
  int folder = AT_FDCWD;
  while (std::strlen(path) >= PATH_MAX) {
    const std::size_t end = std::string_view(path, PATH_MAX - 1).rfind('/');
    if (end == std::string_view::npos) break;  // no system has such a name
    path[end] = 0;
    folder = step(folder, path);
    path[end] = '/';
    path += end + std::strspn(path + end, "/");
  }
  return *path == 0 ? folder : step(folder, path);
}

bool is_folder(int parent, const char* name, int flags) {
  struct stat info;
  return ::fstatat(parent, name, &info, flags) == 0 && S_ISDIR(info.st_mode);
}

Kind kind_of(int parent, const dirent& entry) {
  if (entry.d_type == DT_DIR) return Kind::kFolder;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return Kind::kFile;
  if (is_folder(parent, entry.d_name, AT_SYMLINK_NOFOLLOW)) return Kind::kFolder;
  return is_folder(parent, entry.d_name, 0) ? Kind::kLinkToFolder : Kind::kFile;
}

}  // namespace

std::uint32_t DirectoryWalker::open(const char* path, View suffix) {
  close();
  if (path == nullptr || *path == 0) return FAILURE;
  suffix_ = suffix;
  path_ = View(path);
  const bool opened = !path_.is_empty() && read_folder(open_folder(chars(path_.str())));
  if (!opened) close();
  return opened ? 0 : FAILURE;
}

void DirectoryWalker::close() {
  set_descriptor(-1);
  path_.reset();
  waiting_.reset();
  entries_.reset();
  kind_ = Kind::kFile;
  complete_ = true;
}

void DirectoryWalker::set_descriptor(int descriptor) {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = descriptor;
}

bool DirectoryWalker::next() {
  kind_ = Kind::kFile;
  if (waiting_.is_empty()) return false;
  Trailer trailer;
  const std::uint32_t name_end = waiting_.len() - std::uint32_t{sizeof trailer};
  std::memcpy(&trailer, waiting_.cstr() + name_end, sizeof trailer);
  const std::uint32_t name = name_end - trailer.name_len;
  path_.set_len(trailer.folder_len).append_str(View(waiting_.cstr() + name, trailer.name_len));
  waiting_.set_len(name);
  folder_len_ = trailer.folder_len;
  kind_ = trailer.kind;
  return !lost_path();
}

// Whether there was no memory for the path, without which there is no going on.
bool DirectoryWalker::lost_path() {
  if (!path_.is_empty()) return false;
  waiting_.reset();
  kind_ = Kind::kFile;
  complete_ = false;
  return true;
}

bool DirectoryWalker::enter() {
  if (kind_ != Kind::kFolder) return false;
  kind_ = Kind::kLinkToFolder;  // not to be entered again
  const bool entered = read_folder(open_entry());
  complete_ = complete_ && entered;
  return entered;
}

// The descriptor at hand may be that of a directory further down, the last one that was entered.
int DirectoryWalker::open_entry() {
  unsigned char* const name = path_.str() + folder_len_;
  if (descriptor_len_ != folder_len_) {
    const unsigned char first = std::exchange(*name, 0);
    set_descriptor(open_folder(chars(path_.str())));
    *name = first;
    descriptor_len_ = folder_len_;
  }
  return ::openat(descriptor_, chars(name), kFlags | O_NOFOLLOW);
}

// Takes over the descriptor of the directory at path_ and makes its entries the next ones.
bool DirectoryWalker::read_folder(int descriptor) {
  if (descriptor < 0) return false;
  set_descriptor(descriptor);
  if (path_.back() != '/') path_.append_chr('/');
  if (lost_path()) return false;
  descriptor_len_ = path_.len();
  const bool entered = read_names() && push_names();
  entries_.clear();
  return entered;
}

bool DirectoryWalker::read_names() {
  const int copy = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
  DIR* const folder = copy < 0 ? nullptr : ::fdopendir(copy);
  if (folder == nullptr) {
    if (copy >= 0) ::close(copy);
    return false;
  }
  bool kept = true;
  errno = 0;
  while (const dirent* const entry = kept ? ::readdir(folder) : nullptr) {
    kept = keep(entry->d_name, kind_of(copy, *entry));
    errno = 0;
  }
  const bool read = kept && errno == 0;
  ::closedir(folder);
  return read;
}

// False when memory is short.
bool DirectoryWalker::keep(View name, Kind kind) {
  if (name == View(".") || name == View("..")) return true;
  if (kind == Kind::kFile && !name.is_endwith(suffix_)) return true;
  return entries_.emplace_back(name, static_cast<std::uint64_t>(kind)) != nullptr;
}

// The last name first, since what was pushed last is next.
bool DirectoryWalker::push_names() {
  const auto greater = [](const auto* a, const auto* b) { return b->key() < a->key(); };
  std::sort(entries_.begin(), entries_.end(), greater);
  std::uint64_t need = waiting_.len();
  for (const auto* const entry : entries_) need += entry->len() + sizeof(Trailer);
  if (!waiting_.recapacity(need)) return false;
  for (const auto* const entry : entries_) {
    const Trailer trailer{descriptor_len_, entry->len(), static_cast<Kind>(entry->value())};
    waiting_.append_str(entry->key());
    waiting_.append_str(View(reinterpret_cast<const unsigned char*>(&trailer), sizeof trailer));
  }
  return true;
}

}  // namespace tstl
