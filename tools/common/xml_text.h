// Text that is put into XML by the tools.
#pragma once

#include <string>
#include <string_view>

#include "tools/common/failure.h"

namespace zenta::tools {

// UTF-8 text as the content of an element or the value of an attribute in double quotes (XML 1.0,
// 2.3 and 2.4). Throws Failure for a control character: XML has no place for it (2.2).
inline std::string XmlText(std::string_view text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          throw Failure("a control character in '" + std::string(text) + "'");
        }
        out += c;
    }
  }
  return out;
}

}  // namespace zenta::tools
