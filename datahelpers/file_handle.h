// Files that are read from front to back, and who opens them.
//
// The helpers that digest a file see it only through these two interfaces, so that a package of any
// size streams through a small buffer, and so that a platform can keep its files where it likes:
// the Mac's file handles, a folder that stands for a whole machine, or a test's memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// An open file, read once from front to back. Closed by its destructor.
class FileHandle {
 public:
  virtual ~FileHandle() = default;
  // Fills the front of `into` and returns how many bytes that are; fewer than asked for does not
  // mean the end, 0 does. nullopt: a read error; the handle is of no further use.
  // REQUIRES: `into` is not empty.
  [[nodiscard]] virtual std::optional<std::size_t> Read(std::span<std::uint8_t> into) = 0;
};

class FileOpener {
 public:
  virtual ~FileOpener() = default;
  // The file at an absolute path, links followed; null if there is none or it cannot be read. Only
  // a regular file is opened: a directory cannot be read, a named pipe or a device might never end.
  [[nodiscard]] virtual std::unique_ptr<FileHandle> OpenForReading(const std::string& path) = 0;
};

// A POSIX file descriptor, which the handle owns from now on.
// REQUIRES: descriptor >= 0.
[[nodiscard]] std::unique_ptr<FileHandle> AdoptDescriptor(int descriptor);

// The files of the running system; relative paths will do, too. Lives as long as the program. When it
// opens none, errno tells why, or is 0 for what is no regular file.
[[nodiscard]] FileOpener& SystemFiles();

inline constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// The first `limit` bytes that are left to read, or all if there are fewer; nil on a read error.
[[nodiscard]] Data ReadUpTo(FileHandle& file, std::size_t limit);

// Everything that is left to read, if that is at most `limit` bytes; nil if it is more or on a read
// error. Never holds more than a small multiple of what the file really has, nor of `limit`.
[[nodiscard]] Data ReadAll(FileHandle& file, std::size_t limit = kNoLimit);

}  // namespace zenta::signing
