#include "tools/host_installer/package_info.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/uri.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "tools/common/failure.h"
#include "tools/host_installer/payload_path.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

struct XmlFree {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlChar* text) const { xmlFree(text); }
  void operator()(char* text) const { xmlFree(text); }
};
using Document = std::unique_ptr<xmlDoc, XmlFree>;

// Takes over what libxml2 gives away; null is "".
std::string TextOf(xmlChar* owned) {
  const std::unique_ptr<xmlChar, XmlFree> text(owned);
  return text == nullptr ? "" : reinterpret_cast<const char*>(text.get());
}

bool HasName(const xmlNode* node, const char* name) {
  return node->type == XML_ELEMENT_NODE &&
         xmlStrEqual(node->name, reinterpret_cast<const xmlChar*>(name)) != 0;
}

// Without network, entities of the file's own, or messages on standard error. libxml2 bounds depth
// and sizes by itself as long as it is not told XML_PARSE_HUGE.
Document Parse(std::string_view xml, const char* root, const char* what) {
  constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
  Document document(
      xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, kOptions));
  const xmlNode* top = document == nullptr ? nullptr : xmlDocGetRootElement(document.get());
  if (top == nullptr || !HasName(top, root)) {
    throw Failure("the package's " + std::string(what) + " is not valid");
  }
  return document;
}

// A component's folder from the text of its pkg-ref: a URL relative to the package, "#NAME.pkg".
// Other texts (outside packages, empty references) name none.
std::string FolderOfReference(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n");
  if (start == std::string::npos || text[start] != '#') return "";
  const std::size_t end = text.find_last_not_of(" \t\r\n");
  const std::string escaped = text.substr(start + 1, end - start);
  const std::unique_ptr<char, XmlFree> plain(
      xmlURIUnescapeString(escaped.c_str(), static_cast<int>(escaped.size()), nullptr));
  return plain == nullptr ? "" : PayloadPath(plain.get()).value_or("");
}

}  // namespace

std::string InstallLocation(std::string_view package_info) {
  const Document document = Parse(package_info, "pkg-info", "PackageInfo");
  const std::string location =
      TextOf(xmlGetProp(xmlDocGetRootElement(document.get()), BAD_CAST "install-location"));
  const std::optional<std::string> path = PayloadPath("./" + location);
  if (!path) throw Failure("the install location leaves the target: " + location);
  return *path;
}

Distribution ParseDistribution(std::string_view xml) {
  const Document document = Parse(xml, "installer-gui-script", "Distribution");
  Distribution parsed;
  for (xmlNode* node = xmlDocGetRootElement(document.get())->children; node; node = node->next) {
    if (HasName(node, "title")) parsed.title = TextOf(xmlNodeGetContent(node));
    if (!HasName(node, "pkg-ref")) continue;
    const std::string folder = FolderOfReference(TextOf(xmlNodeGetContent(node)));
    const bool known =
        std::find(parsed.folders.begin(), parsed.folders.end(), folder) != parsed.folders.end();
    if (!folder.empty() && !known) parsed.folders.push_back(folder);
  }
  if (parsed.folders.empty()) throw Failure("the package's Distribution names no component");
  return parsed;
}

}  // namespace zenta::host_installer
