// The XML of packages, which is foreign: read with libxml2, without anything that grows.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zenta::host_installer {

// Of a PackageInfo, a Distribution or a table of contents, which take a few kilobytes in packages
// of any size.
inline constexpr std::size_t kMaxXmlBytes = 1 << 20;

struct XmlFree {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlChar* text) const { xmlFree(text); }
  void operator()(char* text) const { xmlFree(text); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlFree>;

// A document in UTF-8 whose top element is `root`. Throws Failure, calling it `what`, if it is none,
// if it is over the limit, has over 4,096 attributes in an element, or has a document type: that
// could define entities, and a few bytes of those expand without bound. Elements are nested 256 deep
// at most. Time and memory are in proportion to the size.
[[nodiscard]] XmlDocument ParseXml(std::string_view xml, const char* root, const char* what);

[[nodiscard]] bool HasName(const xmlNode* node, const char* name);

// The first child element of this name; null if there is none or `parent` is null.
[[nodiscard]] const xmlNode* Child(const xmlNode* parent, const char* name);

// All text in an element, and the value of an attribute; "" if there is none. `node` may be null.
[[nodiscard]] std::string TextOf(const xmlNode* node);
[[nodiscard]] std::string AttributeOf(const xmlNode* node, const char* name);

}  // namespace zenta::host_installer
