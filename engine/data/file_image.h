// The engine's data files as whole images: read in one piece, written in one piece, patched at an
// offset, or replaced by a fresh copy.
//
// Paths are zero-terminated; every operation takes a null path for one that cannot be opened.
// Nothing is kept open. Opening to read never waits: a pipe counts as a file of 0 bytes. A file that
// another program changes meanwhile gives bytes of both states, except through ReplaceFile. Lengths
// and offsets are in bytes and 64 bits wide. FAILURE is tstl::FAILURE.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace zenta {

// The file's size; 0 when it cannot be opened to read.
[[nodiscard]] std::uint64_t FileSize(const char* path);

// Whether it can be opened to read. A folder can.
[[nodiscard]] bool FileExists(const char* path);

// Reads the first `n` bytes into `destination`, which has room for them. Returns n; or 0, with the
// destination untouched, when the file is shorter or cannot be opened, or `destination` is null. A
// file that turns out shorter while it is read, or that the disk fails on, gives 0 as well, with
// part of it read.
[[nodiscard]] std::uint64_t ReadFileInto(void* destination, std::uint64_t n, const char* path);

// The first min(size, limit) bytes of the file; what there is of them when it shrinks meanwhile.
// Empty when it cannot be opened or read, when memory is short, and when that is more than a buffer
// holds (4 GiB less 2 bytes): compare with FileSize.
[[nodiscard]] tstl::Buffer<unsigned char> ReadFileImage(const char* path,
                                                        std::uint64_t limit = UINT64_MAX);

// Makes `data` the contents of the file, which is created when missing (permission bits 0666 less
// the umask) and emptied first otherwise: who needs the old one until the new one is whole writes a
// new file and calls ReplaceFile. 0; or FAILURE when path or data is null, the file cannot be
// opened, or not all could be written; what was written by then stays. REQUIRES: `data` is no
// mapping of this file, of which nothing would be left.
[[nodiscard]] std::uint32_t WriteFileImage(const char* path, const void* data,
                                           std::uint64_t length);

// Writes `data` over the bytes from `offset` on; the file grows as needed, with zeros before an
// offset behind its end. A missing file is not created. FAILURE when the file cannot be opened for
// writing; otherwise 0, also when the write itself failed: on purpose, a patch is an improvement
// that may be missing. Whoever has to know reads it back.
[[nodiscard]] std::uint32_t PatchFileAt(const char* path, std::uint64_t offset,
                                        tstl::BufferRef<unsigned char> data);

// Puts the file `new_path` in the place of `target_path`, whether that is there or not. The contents
// are brought to disk, then the name changes in one step: at every moment, a crash's included, the
// target is the old file or the whole new one. What no file can be put over in one step, an empty
// folder, is removed before.
//
// 0 when the target is the new file. FAILURE when a path is null or the new file cannot be opened or
// brought to disk: nothing has changed. FAILURE, too, when the step is impossible (another file
// system, no permission, no such folder): the target is as it was, and the new file is removed, on
// purpose: it never stays behind.
[[nodiscard]] std::uint32_t ReplaceFile(const char* new_path, const char* target_path);

}  // namespace zenta
