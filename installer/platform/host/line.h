// Writes one line of text with a time stamp, for the log and the journal of notifications.
#pragma once

#include <string>
#include <string_view>

namespace zenta::installer {

// Writes "TIME PREFIX TEXT" and a line end to `descriptor` in a single call, so that lines of
// several programs do not mix; TIME is local, to the millisecond: "2026-01-02 03:04:05.678".
// Control characters in the text become blanks, so that no text can look like two lines. `prefix`
// may be empty. Throws std::system_error if the line cannot be written. REQUIRES: descriptor >= 0.
void WriteLine(int descriptor, std::string_view prefix, std::string_view text);

}  // namespace zenta::installer
