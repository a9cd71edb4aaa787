// The path that a file URL names (RFC 8089).
#pragma once

#include <string_view>

#include "datahelpers/bytes.h"

namespace zenta::signing {

// The path of `file:///path`, `file://localhost/path` or `file:/path`, with percent escapes decoded
// and without query and fragment. nil for every other URL, and for an escape that is not two
// hexadecimal digits. A zero byte (%00) stays in the path; FileOpener opens no such path.
[[nodiscard]] Text PathOfFileUrl(std::string_view url);

}  // namespace zenta::signing
