// Mapping a file into memory: the system's calls with the library's results. The functions own
// nothing; MappedFile and MappedStore own what they return.
//
// A descriptor of 0 means "none", as -1 does, so that the two owners are all zeros when closed.
// open_for_mapping() never returns 0.
//
// A mapping shows the file as it is. If anybody truncates the file, touching a page past its new
// end ends the process with SIGBUS (POSIX, mmap()); so does a write into a hole when the disk is
// full. No check can rule that out. Map only files that nobody truncates; replacing a file by
// rename truncates none.
#pragma once

#include <sys/types.h>

#include <cstdint>

namespace tstl {

// Opens a file. `writable`: for reading and writing. A missing file is created empty, with all
// permission bits that the umask leaves, on purpose: the folder decides who may use a store.
// Otherwise read-only; `mode` is passed on and has no effect, since no file is created. Never waits
// for the other end of a pipe. -1 when the path is null or the system refuses.
[[nodiscard]] int open_for_mapping(const char* path, bool writable, mode_t mode) noexcept;

// Maps the first `length` bytes. `writable`: for reading and writing, shared with all who map or
// read the file. Otherwise read-only and private. Null when there is no descriptor, when `length`
// is 0 or more than the address space holds, or when the system refuses. Release with unmap().
[[nodiscard]] void* map_file(int descriptor, std::uint64_t length, bool writable) noexcept;

// The current size of the file in bytes; 0 for no descriptor.
[[nodiscard]] std::uint64_t file_size(int descriptor) noexcept;

// Truncates the file, or extends it by a hole of zeros. False, with the file unchanged, on failure.
[[nodiscard]] bool set_file_size(int descriptor, std::uint64_t size) noexcept;

// Returns when the mapping's contents are on disk: 0, or FAILURE. Does nothing for null.
std::uint32_t sync_mapping(void* data, std::uint64_t length) noexcept;

// Do nothing for null and for no descriptor.
void unmap(void* data, std::uint64_t length) noexcept;
void close_descriptor(int descriptor) noexcept;

}  // namespace tstl
