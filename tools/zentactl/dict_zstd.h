// Files that are compressed with Zstandard (RFC 8878).
#pragma once

#include <memory>
#include <string_view>

#include "tools/host_installer/byte_source.h"

namespace zenta::zentactl {

// What such a file begins with.
inline constexpr std::string_view kZstdMark = "\x28\xB5\x2F\xFD";

// Whether this program was built with the library that undoes it.
#ifdef ZENTA_READS_ZSTD
inline constexpr bool kReadsZstd = true;
#else
inline constexpr bool kReadsZstd = false;
#endif

// The contents of `packed`, one frame or more. Windows of more than 128 MiB are refused. Throws Failure,
// at once when there is no library, and from Next() when the frames are damaged or cut short.
[[nodiscard]] std::unique_ptr<host_installer::ByteSource> ReadZstd(
    std::unique_ptr<host_installer::ByteSource> packed);

}  // namespace zenta::zentactl
