// Runs a function that writes text into a caller's room, and watches the room.
#pragma once

#include <algorithm>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {

// What `write` put into a room of `room` units. Expects a zero after it, and what is past the room
// untouched.
template <class T>
StdString<T> Written(std::size_t room, auto write) {
  std::vector<T> units(room + 32, T{0xA5});
  const std::size_t len = write(units.data());
  EXPECT_LT(len, room);
  EXPECT_EQ(units[len], 0);
  EXPECT_EQ(std::count(units.end() - 32, units.end(), T{0xA5}), 32);
  return StdString<T>(units.data(), units.data() + len);
}
// Expects `want`, written into no more room than it needs.
template <class T>
void ExpectText(std::string_view want, auto write) {
  EXPECT_EQ(Written<T>(want.size() + 1, write), Widen<T>(want));
}

}  // namespace tstl
