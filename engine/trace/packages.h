// Packages: Android applications to which a trace, or a rule that applies in some applications
// only, may refer. The number of a package is its index in the table, so the order of the table
// must never change.
#pragma once

#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::trace {

inline constexpr std::uint32_t kPackageCount = 98;

// The application identifier with this number, 0 to kPackageCount - 1, such as "com.tencent.mm"; in
// static storage. Empty for any other number.
[[nodiscard]] tstl::BufferRef<unsigned char> package_name(std::uint32_t index) noexcept;

}  // namespace zenta::trace
