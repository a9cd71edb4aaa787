// DirectoryWalker: iterates over the entries of a directory, and of the directories below it that
// the caller enters.
//
//   DirectoryWalker walker;
//   if (walker.open("words", ".txt") == FAILURE) ...
//   while (walker.next()) {
//     if (walker.is_directory()) {
//       walker.enter();
//     } else {
//       use(walker.path());                       // "words/latin/a.txt"
//     }
//   }
//
// The entries of a directory come in the byte order of their names, without "." and "..". The
// entries of a directory that is entered come next, before the rest of its parent's. A directory is
// read when it is entered; later changes to it do not affect the walk.
//
// Symbolic links to directories are not entered, so the walk cannot loop. Trees may be deeper than
// the limit of open files, and paths longer than PATH_MAX: the walker keeps one descriptor open and
// does not recurse. (If others replace a directory by a link during the walk, the walk may continue
// in the link's target, but it still ends.)
//
// The walker owns its memory, which is in proportion to the names that were read and are still to
// come. path() is valid until the next operation. A walker is for one thread at a time.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

namespace detail {
enum class EntryKind : unsigned char { kFile, kFolder, kLinkToFolder };
}

class DirectoryWalker {
 public:
  using View = BufferRef<unsigned char>;

  DirectoryWalker() = default;
  DirectoryWalker(const DirectoryWalker&) = delete;
  DirectoryWalker& operator=(const DirectoryWalker&) = delete;
  ~DirectoryWalker() { close(); }

  // Starts at a directory (or a link to one), which is not an entry itself. The entries are all
  // directories, and the files whose names end with `suffix`, which must outlive the walk. Returns
  // 0; or FAILURE, with no entries, when `path` is null, the directory cannot be read, or an
  // allocation fails.
  std::uint32_t open(const char* path, View suffix = {});

  // Moves to the next entry. False when there is none.
  bool next();

  // The current entry. Its path is the path given to open(), a slash if that did not end with one,
  // and the names below. is_directory() is true for directories and links to directories.
  // Everything else is a file: devices, pipes, links to files and dangling links included.
  // REQUIRES: next() returned true.
  View path() const { return path_; }
  bool is_directory() const { return kind_ != Kind::kFile; }

  // Makes the entries of this directory the next ones. False, and the directory is skipped, when it
  // is a file or a link, was entered already, cannot be read, or an allocation fails (the walk may
  // end then). REQUIRES: next() returned true.
  bool enter();

  // False when enter() could not read a directory, or the walk has ended because an allocation
  // failed.
  bool is_complete() const { return complete_; }

  void close();

 private:
  using Kind = detail::EntryKind;
  // Stored after the name of each entry in a buffer of entries.
  struct Trailer {
    std::uint32_t folder_len;  // length of the path up to the name
    std::uint32_t name_len;
    Kind kind;
  };
  struct Entry {
    View name;
    Trailer trailer;
    View bytes;  // the name and the trailer
  };

  bool lost_path();
  int open_entry();
  bool read_folder(int descriptor);
  bool read_names();
  bool keep(View name, Kind kind);
  bool push_names();
  static Entry last_entry(View entries);
  void set_descriptor(int descriptor);

  Buffer<unsigned char> path_;
  Buffer<unsigned char> waiting_;  // the entries still to come, the next one last
  Buffer<unsigned char> entries_;  // those of the directory that is being read, in no order
  View suffix_;
  std::uint32_t folder_len_ = 0;      // length of the path of the entry's directory in path_
  int descriptor_ = -1;               // the directory opened last
  std::uint32_t descriptor_len_ = 0;  // length of its path
  Kind kind_ = Kind::kFile;
  bool complete_ = true;
};

}  // namespace tstl
