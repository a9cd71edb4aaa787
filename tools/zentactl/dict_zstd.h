// Files that are compressed with Zstandard (RFC 8878).
#pragma once

#include <memory>
#include <string_view>

#include "tools/host_installer/byte_source.h"

namespace zenta::zentactl {

// The magic number that a frame begins with.
inline constexpr std::string_view kZstdMark = "\x28\xB5\x2F\xFD";

// Whether this program was built with libzstd.
#ifdef ZENTA_READS_ZSTD
inline constexpr bool kReadsZstd = true;
#else
inline constexpr bool kReadsZstd = false;
#endif

// Decompresses `packed`, one frame or more. Throws Failure if there is no libzstd. Next() throws
// Failure if a frame is damaged or cut short, or needs a window of more than 128 MiB.
[[nodiscard]] std::unique_ptr<host_installer::ByteSource> ReadZstd(
    std::unique_ptr<host_installer::ByteSource> packed);

}  // namespace zenta::zentactl
