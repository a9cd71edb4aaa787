#include "corelib/io/files/directory_walker.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "corelib/io/files/descriptor.h"

namespace tstl {
namespace {

using Kind = detail::EntryKind;

struct Free {
  void operator()(std::uint32_t* memory) const { std::free(memory); }
};

constexpr int kFlags = O_RDONLY | O_DIRECTORY;

char* chars(unsigned char* text) { return reinterpret_cast<char*>(text); }

// Opens a directory relative to `from`, and closes `from`. -1 when it cannot be opened.
int step(int from, const char* path) {
  const int folder = detail::open_file_at(from, path, kFlags);
  if (from >= 0) (void)detail::close_file(from);
  return folder;
}

// Opens a directory; -1 on failure. A path that is too long for a system call is walked in pieces.
// REQUIRES: the path is not empty.
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
  (void)detail::close_file(descriptor_);
  descriptor_ = descriptor;
}

bool DirectoryWalker::next() {
  kind_ = Kind::kFile;
  if (waiting_.is_empty()) return false;
  const Entry entry = last_entry(waiting_);
  path_.set_len(entry.trailer.folder_len).append_str(entry.name);
  waiting_.set_len(waiting_.len() - entry.bytes.len());
  folder_len_ = entry.trailer.folder_len;
  kind_ = entry.trailer.kind;
  return !lost_path();
}

// Whether the allocation of the path failed. The walk cannot go on without it, and ends.
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

// Opens the current entry. descriptor_ may be a directory further down, the one that was entered
// last; then the entry's own directory is opened first.
int DirectoryWalker::open_entry() {
  unsigned char* const name = path_.str() + folder_len_;
  if (descriptor_len_ != folder_len_) {
    const unsigned char first = std::exchange(*name, 0);
    set_descriptor(open_folder(chars(path_.str())));
    *name = first;
    descriptor_len_ = folder_len_;
  }
  return detail::open_file_at(descriptor_, chars(name), kFlags | O_NOFOLLOW);
}

// Takes ownership of the descriptor of the directory at path_ and makes its entries the next ones.
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
  const int copy = detail::duplicate_file(descriptor_);
  DIR* const folder = copy < 0 ? nullptr : ::fdopendir(copy);
  if (folder == nullptr) {
    (void)detail::close_file(copy);
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

// Adds an entry to entries_. False when an allocation fails.
bool DirectoryWalker::keep(View name, Kind kind) {
  if (name == View(".") || name == View("..")) return true;
  if (kind == Kind::kFile && !name.is_endwith(suffix_)) return true;
  const Trailer trailer{descriptor_len_, name.len(), kind};
  const View bytes(reinterpret_cast<const unsigned char*>(&trailer), sizeof trailer);
  if (!entries_.recapacity(std::uint64_t{entries_.len()} + name.len() + bytes.len())) return false;
  entries_.append_str(name).append_str(bytes);
  return true;
}

// REQUIRES: there is an entry.
DirectoryWalker::Entry DirectoryWalker::last_entry(View entries) {
  Entry entry;
  const std::uint32_t name_end = entries.len() - std::uint32_t{sizeof entry.trailer};
  std::memcpy(&entry.trailer, entries.cstr() + name_end, sizeof entry.trailer);
  const std::uint32_t start = name_end - entry.trailer.name_len;
  entry.name = View(entries.cstr() + start, entry.trailer.name_len);
  entry.bytes = View(entries.cstr() + start, entries.len() - start);
  return entry;
}

// Sorts the entries that were read and pushes them to waiting_ in reverse order, since the last one
// there is the next.
bool DirectoryWalker::push_names() {
  const std::uint32_t length = entries_.len();
  if (length == 0) return true;
  if (!waiting_.recapacity(std::uint64_t{waiting_.len()} + length)) return false;
  // Where each entry ends. Each is at least as long as its trailer, so there is space for all of
  // them.
  const std::size_t most = length / sizeof(Trailer);
  const std::unique_ptr<std::uint32_t[], Free> ends(
      static_cast<std::uint32_t*>(std::malloc(most * sizeof(std::uint32_t))));
  if (ends == nullptr) return false;
  std::uint32_t* past = ends.get();
  const auto entry_to = [this](std::uint32_t end) {
    return last_entry(View(entries_.cstr(), end));
  };
  for (std::uint32_t end = length; end != 0; end -= entry_to(end).bytes.len()) *past++ = end;
  std::sort(ends.get(), past,
            [&](std::uint32_t a, std::uint32_t b) { return entry_to(b).name < entry_to(a).name; });
  for (const std::uint32_t* end = ends.get(); end != past; ++end) {
    waiting_.append_str(entry_to(*end).bytes);
  }
  return true;
}

}  // namespace tstl
