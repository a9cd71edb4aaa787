// Escapes text for the XML that the tools write.
#pragma once

#include <string>
#include <string_view>

#include "tools/common/failure.h"

namespace zenta::tools {

// UTF-8 text, escaped as the content of an element or as an attribute value in double quotes (XML
// 1.0, 2.3 and 2.4). Throws Failure for every character below U+0020: XML does not allow most of
// them (2.2), and the rest would not survive in an attribute.
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
