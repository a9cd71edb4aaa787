// The path that a file URL names (RFC 8089).
#pragma once

#include <string_view>

#include "datahelpers/bytes.h"

namespace zenta {

// The path of `file:///path`, `file://localhost/path` or `file:/path`, percent escapes decoded,
// query and fragment left out. nil for every other URL, an escape that is not two hexadecimal
// digits, and the escape of a zero byte, which no path can hold.
[[nodiscard]] Text PathOfFileUrl(std::string_view url);

}  // namespace zenta
