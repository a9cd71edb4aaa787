// Actions: what the user did, as the records of a trace name it. A record's "type" is such a name.
#pragma once

#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::trace {

// Codes 0 to 21 have a name.
inline constexpr std::uint32_t kActionCount = 22;

//   1 inputSelection    2 setLayout        3 switchPad     4 lianSimulate
//   5 otherSelection    6 lianSelection    7 removeWord
//
// The name of the action with this code, in static storage. The other codes below kActionCount are
// reserved; their names are "noused_xx" and the code in decimal, so that each can be printed. Empty
// from kActionCount on.
[[nodiscard]] tstl::BufferRef<unsigned char> action_name(std::uint32_t code) noexcept;

// The code of the action whose name is `name`, byte for byte; kActionCount for every other text.
[[nodiscard]] std::uint32_t action_code(tstl::BufferRef<unsigned char> name) noexcept;

}  // namespace zenta::trace
