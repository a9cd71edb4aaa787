// The path that a file URL names (RFC 8089).
#pragma once

#include <string_view>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// The path of `file:///path`, `file://localhost/path` or `file:/path`, percent escapes decoded,
// query and fragment left out. nil for every other URL and for an escape that is not two
// hexadecimal digits. A path with a zero byte in it comes out as it is: no file can be opened by
// it.
[[nodiscard]] Text PathOfFileUrl(std::string_view url);

}  // namespace zenta::signing
