// A look at binary property lists before a recursive reader sees them.
#pragma once

#include <cstdint>
#include <span>

namespace zenta::installer {

// Whether the property list is a tree: no container (array, set, dictionary) stands in more than
// one place. A reader that makes a copy for each place would need 2^n nodes for n arrays that each
// hold the next one twice. Apple's writers share only leaves. False also if the bytes are no binary
// property list or anything in it points outside. Format: "bplist00", objects, offset table and a
// 32-byte trailer, as CoreFoundation's CFBinaryPList.c describes it. Time and memory are
// proportional to the length.
[[nodiscard]] bool IsBinaryPlistTree(std::span<const std::uint8_t> bytes);

}  // namespace zenta::installer
