// A package file that is opened once and read to its end through one descriptor. It does not matter
// if its path is removed or replaced afterwards.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace zenta::host_installer {

class PackageFile {
 public:
  // Opens a regular file, following links. Never blocks, not even on a named pipe. Throws Failure,
  // whose text calls the file `shown`.
  PackageFile(const std::string& path, const std::string& shown);
  PackageFile(const PackageFile&) = delete;
  PackageFile& operator=(const PackageFile&) = delete;
  ~PackageFile();

  // Size in bytes when the file was opened.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  // Fills all of `bytes` from the offset in bytes. Throws Failure if the file is too short or
  // cannot be read.
  void ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

 private:
  int descriptor_;
  std::uint64_t size_ = 0;
};

}  // namespace zenta::host_installer
