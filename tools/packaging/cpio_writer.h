// Writes a cpio archive in the portable ASCII form (POSIX.1-1988, "odc"): for each entry a header
// of octal digits, the name, the contents.
//
// Everything belongs to root (0:0). Device and inode numbers are 0 and link counts 1, so that equal
// entries make equal bytes on every machine.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace zenta::packaging {

// Is called with the next bytes of an output.
using Sink = std::function<void(std::string_view)>;

// The greatest size in bytes, and the latest time: what 11 octal digits hold.
inline constexpr std::uint64_t kMaxCpioNumber = (std::uint64_t{1} << 33) - 1;

// One file, folder or link.
struct CpioEntry {
  std::string name = {};
  mode_t mode = 0;               // kind and permissions
  std::uint64_t size = 0;        // bytes; 0 unless a regular file
  std::time_t modified = 0;      // seconds since 1970, not before
  std::string link_target = {};  // of a symbolic link
};

class CpioWriter {
 public:
  explicit CpioWriter(Sink sink) : sink_(std::move(sink)) {}

  // Begins an entry. A link is complete with this call. REQUIRES: size and time are at most
  // kMaxCpioNumber, the name has fewer than 2^18 - 1 bytes, and the entry before is complete.
  void Begin(const CpioEntry& entry);
  // Appends to the entry's contents. REQUIRES: they do not exceed the entry's size.
  void Write(std::string_view bytes);
  // Ends the archive; the last call.
  void Finish();

 private:
  Sink sink_;
  std::uint64_t left_ = 0;  // bytes that the current entry still needs
};

}  // namespace zenta::packaging
