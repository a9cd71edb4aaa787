// DirectoryWalker: the entries of a directory, and of those below it that the caller asks for.
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
// The entries of a directory come in the order of their names' bytes, "." and ".." never. A
// directory that is entered comes next, before what is left of its parent. It is read when it is
// entered, so that what happens to it afterwards does not matter to the walk.
//
// No loop is endless: a directory behind a symbolic link is not entered. Trees may be deeper than
// there are file descriptors, and paths longer than the system takes (PATH_MAX): the walker has one
// descriptor open and no recursion. (A tree that others change during the walk may lead it to a
// place behind a link that was a directory before, never round in a circle.)
//
// The walker owns all it has; path() holds until the next operation. Its memory is in proportion to
// the names that were read and are still to come. One thread at a time.
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

  // Starts at a directory (or a link to one), which is not an entry itself. Of files only those
  // whose names end with `suffix` are given, of directories all. `suffix` must outlive the walk.
  // Returns 0; or FAILURE, and the walk has no entries, when `path` is null or the directory cannot
  // be read, or memory is short.
  std::uint32_t open(const char* path, View suffix = {});

  // Goes to the next entry. False when there is none.
  bool next();

  // The entry: the path that open() got, a slash where it did not end with one, and the names from
  // there on; and whether it is a directory or a link to one. What is neither directory nor link is
  // a file, devices and pipes included, and so is a link to a file or to nothing.
  // REQUIRES: next() returned true.
  View path() const { return path_; }
  bool is_directory() const { return kind_ != Kind::kFile; }

  // Makes the entries of this directory the next ones. False, and it is passed over, when it is a
  // file or a link, or was entered already, or cannot be read, or memory is short (the walk may end
  // then). REQUIRES: next() returned true.
  bool enter();

  // Whether every directory that was to be entered could be, links apart.
  bool is_complete() const { return complete_; }

  void close();

 private:
  using Kind = detail::EntryKind;
  // What follows the name of each entry in a buffer of entries.
  struct Trailer {
    std::uint32_t folder_len;  // of the path up to the name
    std::uint32_t name_len;
    Kind kind;
  };
  struct Entry {
    View name;
    Trailer trailer;
    View bytes;  // both
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
  Buffer<unsigned char> entries_;  // of the directory that is being read, in no order
  View suffix_;
  std::uint32_t folder_len_ = 0;  // of the entry's directory in path_
  int descriptor_ = -1;           // the directory entered last
  std::uint32_t descriptor_len_ = 0;
  Kind kind_ = Kind::kFile;
  bool complete_ = true;
};

}  // namespace tstl
