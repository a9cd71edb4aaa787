#include "datahelpers/file_url.h"

#include <algorithm>
#include <cstddef>

#include "datahelpers/hex.h"

namespace zenta::signing {
namespace {

// Removes `word` (lower case) from the front of `text`, ignoring ASCII case. False if it is not
// there.
bool TakeWord(std::string_view& text, std::string_view word) {
  const auto same = [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + 32 : a) == b; };
  if (text.size() < word.size() || !std::equal(word.begin(), word.end(), text.begin(),
                                               [&](char b, char a) { return same(a, b); })) {
    return false;
  }
  text.remove_prefix(word.size());
  return true;
}

Text PercentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i != text.size(); ++i) {
    if (text[i] != '%') {
      decoded.push_back(text[i]);
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = HexDigitValue(text[i + 1]);
    const int low = HexDigitValue(text[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    decoded.push_back(static_cast<char>(high * 16 + low));
    i += 2;
  }
  return decoded;
}

}  // namespace

Text PathOfFileUrl(std::string_view url) {
  if (!TakeWord(url, "file:")) return std::nullopt;
  if (TakeWord(url, "//")) TakeWord(url, "localhost");
  if (!url.starts_with('/')) return std::nullopt;  // another host, or a relative path
  return PercentDecoded(url.substr(0, url.find_first_of("?#")));
}

}  // namespace zenta::signing
