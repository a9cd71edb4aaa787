// A check of binary property lists before a recursive reader parses them.
#pragma once

#include <cstdint>
#include <span>

namespace zenta::installer {

// Whether no container (array, set, dictionary) of the property list is a child of two containers,
// or twice of one. A reader that copies shared objects would make 2^n nodes of n arrays that each
// hold the next one twice. Apple's writers share only leaves. False also if the trailer, the offset
// table or the list of a container's children is invalid or points outside the bytes. Not checked:
// objects that are no containers, the index of the root, and whether the root is inside a cycle;
// libplist refuses those by itself. Time and memory are proportional to the length.
//
// Format: "bplist00", objects, offset table and a 32-byte trailer, as CoreFoundation's
// CFBinaryPList.c describes it.
[[nodiscard]] bool IsBinaryPlistTree(std::span<const std::uint8_t> bytes);

}  // namespace zenta::installer
