// Formats the texts, keys, times and counts of a trace for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "corelib/text/buffer_ref.h"

namespace zenta::zentactl {

// A text of a trace, made safe for pictures and terminals: valid UTF-8 of at most `limit`
// characters, and an ellipsis where it is cut. Control characters, those that change the direction
// of writing, and whatever is no character become U+FFFD.
std::string Shown(tstl::BufferRef<unsigned char> text, std::size_t limit);
std::string Shown(tstl::BufferRef<unsigned short> text, std::size_t limit);

// The label of a key: the character with its number; a sign for space, Enter and the like; or the
// number itself: "q", "␣", "#4294967295".
std::string KeyLabel(std::uint32_t id);

// "1.25 s".
std::string Seconds(std::uint32_t milliseconds);

// "1 key", "2 keys".
std::string Counted(std::uint64_t count, const char* one, const char* many);

}  // namespace zenta::zentactl
