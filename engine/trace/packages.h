// Packages: Android applications that a trace, or a rule that holds in some of them only, may be
// about. A package's number is its place in the table, so the table's order may never change.
#pragma once

#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::trace {

inline constexpr std::uint32_t kPackageCount = 98;

// The application identifier with this number, 0 to kPackageCount - 1, such as "com.tencent.mm";
// it lives for ever. Empty for every other number.
[[nodiscard]] tstl::BufferRef<unsigned char> package_name(std::uint32_t index) noexcept;

}  // namespace zenta::trace
