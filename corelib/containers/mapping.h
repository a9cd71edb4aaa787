// Mapping a file into memory: the system's calls with the library's results. MappedFile and
// MappedStore own what these hand out; on their own they own nothing.
//
// A descriptor of 0 means "none" throughout, as -1 does, because the records of the two owners are
// all zeros when closed. A process without a standard input gets 0 from the system for the first
// file that it opens: open_for_mapping() never returns it.
//
// A mapping shows the file as it is, not as it was. When anybody cuts the file while it is mapped,
// the bytes up to the end of the page that the file now ends in are zeros, and touching a page
// behind that ends the process with the signal SIGBUS, as POSIX has it for mmap(); the same happens
// to a write into a hole of the file when the disk is full. No check beforehand is a promise: map
// only files that nobody else cuts (whoever replaces a file by rename cuts none).
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tstl {

// Opens a file. `writable`: for reading and writing, created empty when missing, with the
// permission bits 0777 less the process's umask (all of them on purpose; whoever wants a private
// store makes its folder private). Otherwise read-only; `mode` is passed on, and matters on no
// system that we know, since nothing is created. Never waits for the other end of a pipe. The
// descriptor is closed in a program that is started. -1 when the path is null or the system
// refuses.
[[nodiscard]] int open_for_mapping(const char* path, bool writable, mode_t mode) noexcept;

// Maps the first `length` bytes: `writable` for reading and writing, shared with the file and with
// whoever else maps it; otherwise read-only and private. Null for no descriptor, a length of 0, one
// that the address space cannot hold, or when the system refuses. To be given back with unmap().
[[nodiscard]] void* map_file(int descriptor, std::uint64_t length, bool writable) noexcept;

// Size of the file in bytes as it is now; 0 for no descriptor.
[[nodiscard]] std::uint64_t file_size(int descriptor) noexcept;

// Cuts the file, or extends it by a hole that reads as zeros. False, and the file as it was, when
// the system refuses or no file can have that size.
[[nodiscard]] bool set_file_size(int descriptor, std::uint64_t size) noexcept;

// Returns when what was written to the mapping is on disk. 0, or FAILURE when the disk failed;
// nothing to do, and 0, when `data` is null.
std::uint32_t sync_mapping(void* data, std::uint64_t length) noexcept;

// Do nothing for null and for no descriptor.
void unmap(void* data, std::uint64_t length) noexcept;
void close_descriptor(int descriptor) noexcept;

}  // namespace tstl
