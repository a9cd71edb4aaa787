// The vocabulary of the data helpers: text and data that may be absent ("nil").
//
// Results own their bytes; arguments borrow them for the call. A present but empty text is not nil.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zenta::signing {

using Bytes = std::vector<std::uint8_t>;
using ByteView = std::span<const std::uint8_t>;

// UTF-8 text, or raw bytes, that a helper hands out.
using Text = std::optional<std::string>;
using Data = std::optional<Bytes>;

// Parameters of these two kinds. A Text, a Data, a literal or std::nullopt converts without a copy.
using TextArg = std::optional<std::string_view>;
using DataArg = std::optional<ByteView>;

// A view of the bytes of a text, valid as long as the text is.
inline ByteView BytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// The bytes as a text. Whether they are UTF-8 is not checked.
inline std::string TextOf(ByteView bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace zenta::signing
