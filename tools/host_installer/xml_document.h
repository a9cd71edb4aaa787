// Parses the XML of packages, which is untrusted, with libxml2, and refuses what can expand without
// bound.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace zenta::host_installer {

// Limit for a PackageInfo, a Distribution or a table of contents. In honest packages they have a
// few kilobytes.
inline constexpr std::size_t kMaxXmlBytes = 1 << 20;

struct XmlFree {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlChar* text) const { xmlFree(text); }
  void operator()(char* text) const { xmlFree(text); }
};
using XmlDocument = std::unique_ptr<xmlDoc, XmlFree>;

// Parses a UTF-8 document whose root element is `root`. Throws Failure, which calls it `what`, if
// it is not well-formed, has another root element, is over the limit, has over 4,096 attributes in
// an element, or has a document type declaration: that could define entities, which expand without
// bound. libxml2 allows elements to nest 256 deep. Time and memory are proportional to the size.
[[nodiscard]] XmlDocument ParseXml(std::string_view xml, const char* root, const char* what);

[[nodiscard]] bool HasName(const xmlNode* node, const char* name);

// The first child element of this name; null if there is none or `parent` is null.
[[nodiscard]] const xmlNode* Child(const xmlNode* parent, const char* name);

// All text in an element, and the value of its attribute; "" if there is none. `node` may be null.
[[nodiscard]] std::string TextOf(const xmlNode* node);
[[nodiscard]] std::string AttributeOf(const xmlNode* node, const char* name);

}  // namespace zenta::host_installer
