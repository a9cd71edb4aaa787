// The engine's data files as whole images: read in one piece, written in one piece, patched at an
// offset, or replaced by a fresh copy.
//
// Lengths and offsets are in bytes, FAILURE is tstl::FAILURE, and a null path is one that cannot be
// opened. No file stays open, and opening to read never waits: a pipe counts as empty. A file that
// somebody writes meanwhile gives bytes of both states; one that is replaced gives one of them.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace zenta::data {

// 0 when it cannot be opened to read.
[[nodiscard]] std::uint64_t FileSize(const char* path);

// Whether it can be opened to read. A folder can.
[[nodiscard]] bool FileExists(const char* path);

// Reads the first `n` bytes into `destination`, which has room for them. Returns n; or 0, with
// nothing read, when the file is shorter or cannot be opened. A file that is cut meanwhile, or that
// the disk fails on, gives 0, too, with part of it read.
[[nodiscard]] std::uint64_t ReadFileInto(void* destination, std::uint64_t n, const char* path);

// The first min(size, limit) bytes, fewer when the file is cut meanwhile. Empty when it cannot be
// opened or read, when memory is short, or when that is more than a buffer holds (4 GiB less 2).
[[nodiscard]] tstl::Buffer<unsigned char> ReadFileImage(const char* path,
                                                        std::uint64_t limit = UINT64_MAX);

// Makes `data` the contents of the file, which is created or emptied first: who needs the old ones
// until the new are whole writes another file and calls ReplaceFile. 0; or FAILURE when path or data
// is null, the file cannot be opened, or not all was written; what was stays. REQUIRES: `data` is
// no mapping of this file.
[[nodiscard]] std::uint32_t WriteFileImage(const char* path, const void* data,
                                           std::uint64_t length);

// Writes `data` over the bytes from `offset` on; the file grows as needed. FAILURE when it cannot be
// opened for writing, and none is created; otherwise 0, also when the write itself failed, on
// purpose: a patch may be missing. Whoever has to know reads it back.
[[nodiscard]] std::uint32_t PatchFileAt(const char* path, std::uint64_t offset,
                                        tstl::BufferRef<unsigned char> data);

// Puts the file `new_path` in the place of `target_path`, whether that is there or not. The contents
// are brought to disk, then the name changes in one step: at every moment, a crash's included, the
// target is the old file or the whole new one. (An empty folder, which no file can be put over in
// one step, is removed before.)
//
// 0 when the target is the new file, and its other name is gone. That holds for two names of one file,
// too; one name given twice stays. FAILURE, with nothing changed, when the new file cannot be opened,
// is a folder, or cannot be brought to disk. FAILURE, with the target as it was and the new file removed, when the
// step is impossible (another file system, no permission): on purpose, it never stays behind.
[[nodiscard]] std::uint32_t ReplaceFile(const char* new_path, const char* target_path);

}  // namespace zenta::data
