// The engine's data files as whole images: read or written in one piece, patched at an offset, or
// replaced by a new file.
//
// Lengths and offsets are in bytes, FAILURE is tstl::FAILURE, and a null path counts as one that
// cannot be opened. No file stays open. Opening to read never waits: a pipe counts as empty.
// Reading a file that somebody is writing may mix bytes of both states; reading one that is being
// replaced gives either of the two.
#pragma once

#include <cstdint>

#include "corelib/text/buffer.h"
#include "corelib/text/buffer_ref.h"

namespace zenta::data {

// The size of the file; 0 when it cannot be opened to read.
[[nodiscard]] std::uint64_t FileSize(const char* path);

// Whether the file can be opened to read. True for a folder, too.
[[nodiscard]] bool FileExists(const char* path);

// Reads the first `n` bytes into `destination`, which has space for them. Returns n; or 0, with
// nothing read, when the file is shorter or cannot be opened. Also 0, with a part read, when the
// file is truncated meanwhile or the disk fails.
[[nodiscard]] std::uint64_t ReadFileInto(void* destination, std::uint64_t n, const char* path);

// The first min(size, limit) bytes; fewer when the file is truncated meanwhile. Empty when the file
// cannot be opened or read, when an allocation fails, or when a buffer cannot hold that much (4 GiB
// less 2).
[[nodiscard]] tstl::Buffer<unsigned char> ReadFileImage(const char* path,
                                                        std::uint64_t limit = UINT64_MAX);

// Makes `data` the contents of the file, which is created or emptied first. To keep the old
// contents until the new ones are complete, write another file and call ReplaceFile. Returns 0; or
// FAILURE when path or data is null, the file cannot be opened, or not everything was written; what
// was written stays. REQUIRES: `data` is no mapping of this file.
[[nodiscard]] std::uint32_t WriteFileImage(const char* path, const void* data,
                                           std::uint64_t length);

// Overwrites the bytes from `offset` on with `data`; the file grows as needed. FAILURE when the
// file cannot be opened for writing; it is not created. Otherwise 0, on purpose even when the write
// itself failed, so a patch may be missing. To be sure, read it back.
[[nodiscard]] std::uint32_t PatchFileAt(const char* path, std::uint64_t offset,
                                        tstl::BufferRef<unsigned char> data);

// Moves the file `new_path` over `target_path`, whether or not a file is there. The contents are
// synced to disk, then the file is renamed. So at every moment, even after a crash, the target is
// either the old file or the complete new one. (An empty folder at the target, which no rename can
// replace by a file, is removed first.)
//
// Returns 0 when the target is the new file and the name `new_path` is gone. That includes two
// names of one file; if both paths are the same name, it stays. FAILURE, with nothing changed, when
// the new file cannot be opened, is a folder or cannot be synced. FAILURE, with the target
// unchanged and the new file removed, when the rename fails (another file system, no permission):
// on purpose, the new file never stays behind.
[[nodiscard]] std::uint32_t ReplaceFile(const char* new_path, const char* target_path);

}  // namespace zenta::data
