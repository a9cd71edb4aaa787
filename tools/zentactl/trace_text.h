// What a trace holds, and counts of it, as texts for people.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "corelib/text/buffer_ref.h"

namespace zenta::zentactl {

// A text from a trace as a person may be shown it, in a picture or on a terminal: valid UTF-8, at
// most `limit` characters and an ellipsis. Control characters, those that turn the direction of
// writing, and whatever is no character become U+FFFD.
std::string Shown(tstl::BufferRef<unsigned char> text, std::size_t limit);
std::string Shown(tstl::BufferRef<unsigned short> text, std::size_t limit);

// What a key shows: the character that its number is, a sign for those that show nothing, or the
// number: "q", "␣", "#4294967295".
std::string KeyLabel(std::uint32_t id);

// "1.25 s".
std::string Seconds(std::uint32_t milliseconds);

// "1 key", "2 keys".
std::string Counted(std::uint64_t count, const char* one, const char* many);

}  // namespace zenta::zentactl
