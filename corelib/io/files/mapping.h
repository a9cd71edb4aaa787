// Mapping a file into memory: the system's calls with the library's results. MappedFile and
// MappedStore own what these hand out; on their own they own nothing.
//
// A descriptor of 0 means "none", as -1 does: the two owners are all zeros when closed. No file that
// open_for_mapping() opens gets that number.
//
// A mapping shows the file as it is. When anybody cuts the file, touching a page behind its new end
// ends the process with SIGBUS, as POSIX has it for mmap(), and so does a write into a hole when the
// disk is full. No check beforehand can promise anything: map files that nobody cuts (whoever
// replaces a file by rename cuts none).
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tstl {

// Opens a file. `writable`: to read and write, created empty when missing, with all permission bits
// that the umask leaves, on purpose: the folder decides who may use a store. Otherwise read-only;
// `mode` is passed on and means nothing, since no file is created. Never waits for the other end of
// a pipe. -1 when the path is null or the system refuses.
[[nodiscard]] int open_for_mapping(const char* path, bool writable, mode_t mode) noexcept;

// Maps the first `length` bytes: `writable` to read and write, shared with all who map or read the
// file; otherwise read-only and private. Null for no descriptor, for no bytes or more than the
// address space holds, or when the system refuses. unmap() gives it back.
[[nodiscard]] void* map_file(int descriptor, std::uint64_t length, bool writable) noexcept;

// Bytes in the file now; 0 for no descriptor.
[[nodiscard]] std::uint64_t file_size(int descriptor) noexcept;

// Cuts the file, or extends it by a hole of zeros. False, and the file as it was, on failure.
[[nodiscard]] bool set_file_size(int descriptor, std::uint64_t size) noexcept;

// Returns when the mapping's contents are on disk: 0, or FAILURE. Nothing to do for null.
std::uint32_t sync_mapping(void* data, std::uint64_t length) noexcept;

// Do nothing for null and for no descriptor.
void unmap(void* data, std::uint64_t length) noexcept;
void close_descriptor(int descriptor) noexcept;

}  // namespace tstl
