// A package file that is opened once. Whatever happens to its path afterwards (another installation
// removes it, somebody puts a file in its place), the same file is read to the end.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace zenta::host_installer {

class PackageFile {
 public:
  // Opens a regular file, links followed. Never waits, whatever lies at the path. Throws Failure,
  // which calls the file `shown`.
  PackageFile(const std::string& path, const std::string& shown);
  PackageFile(const PackageFile&) = delete;
  PackageFile& operator=(const PackageFile&) = delete;
  ~PackageFile();

  // In bytes, when it was opened.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  // Fills all of `bytes` from `offset`. Throws Failure if the file ends before or cannot be read.
  void ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

 private:
  int descriptor_;
  std::uint64_t size_ = 0;
};

}  // namespace zenta::host_installer
