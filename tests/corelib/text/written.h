// Runs a function that writes text into a caller's buffer, and checks the bounds of the writes.
#pragma once

#include <algorithm>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {

// The text that `write` writes into a buffer of `room` units. Expects a zero after the text, and no
// write past the buffer.
template <class T>
StdString<T> Written(std::size_t room, auto write) {
  std::vector<T> units(room + 32, T{0xA5});
  const std::size_t len = write(units.data());
  EXPECT_LT(len, room);
  EXPECT_EQ(units[len], 0);
  EXPECT_EQ(std::count(units.end() - 32, units.end(), T{0xA5}), 32);
  return StdString<T>(units.data(), units.data() + len);
}
// Expects `want`, written into a buffer of just the size it needs.
template <class T>
void ExpectText(std::string_view want, auto write) {
  EXPECT_EQ(Written<T>(want.size() + 1, write), Widen<T>(want));
}

}  // namespace tstl
