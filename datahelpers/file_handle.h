// Interfaces for reading a file from front to back, and for opening one.
//
// The helpers that digest a file use only these two interfaces. So a package of any size streams
// through a small buffer, and a platform chooses where files are: behind the Mac's file handles,
// below a folder that stands for a whole machine, or in a test's memory.
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
  // Reads into the front of `into` and returns the number of bytes read. Only 0 means the end of
  // the file; a short read does not. nullopt on a read error, after which the handle must not be
  // read. REQUIRES: `into` is not empty.
  [[nodiscard]] virtual std::optional<std::size_t> Read(std::span<std::uint8_t> into) = 0;
};

class FileOpener {
 public:
  virtual ~FileOpener() = default;
  // Opens the file at an absolute path, following links. Null if it does not exist, cannot be
  // opened, or is not a regular file: a directory cannot be read, and a named pipe or a device
  // might never end.
  [[nodiscard]] virtual std::unique_ptr<FileHandle> OpenForReading(const std::string& path) = 0;
};

// Makes a handle that owns a POSIX file descriptor. REQUIRES: descriptor >= 0.
[[nodiscard]] std::unique_ptr<FileHandle> AdoptDescriptor(int descriptor);

// The files of the running system. Lives as long as the program. Takes relative paths, too. When it
// returns null, errno says why; it is 0 if the path names something other than a regular file.
[[nodiscard]] FileOpener& SystemFiles();

inline constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// Reads up to `limit` bytes from the current position. nil on a read error.
[[nodiscard]] Data ReadUpTo(FileHandle& file, std::size_t limit);

// Reads all bytes from the current position. nil if they are more than `limit`, or on a read error.
// Memory is at most a small multiple of the bytes that the file really has, and of `limit`.
[[nodiscard]] Data ReadAll(FileHandle& file, std::size_t limit = kNoLimit);

}  // namespace zenta::signing
