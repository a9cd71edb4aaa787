#include "tools/host_installer/package_info.h"

#include <libxml/uri.h>

#include <memory>
#include <optional>
#include <set>

#include "tools/common/failure.h"
#include "tools/host_installer/payload_path.h"
#include "tools/host_installer/xml_document.h"

namespace zenta::host_installer {
namespace {

using tools::Failure;

// The component's folder that a pkg-ref names, a URL relative to the package: "#NAME.pkg". Returns
// "" for other texts (packages elsewhere, empty references).
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
  const XmlDocument document = ParseXml(package_info, "pkg-info", "PackageInfo");
  const std::string location =
      AttributeOf(xmlDocGetRootElement(document.get()), "install-location");
  const std::optional<std::string> path = PayloadPath("./" + location);
  if (!path) throw Failure("the install location leaves the target: " + location);
  return *path;
}

Distribution ParseDistribution(std::string_view xml) {
  const XmlDocument document = ParseXml(xml, "installer-gui-script", "Distribution");
  Distribution parsed;
  std::set<std::string> known;
  for (const xmlNode* node = xmlDocGetRootElement(document.get())->children; node;
       node = node->next) {
    if (HasName(node, "title")) parsed.title = TextOf(node);
    if (!HasName(node, "pkg-ref")) continue;
    const std::string folder = FolderOfReference(TextOf(node));
    if (!folder.empty() && known.insert(folder).second) parsed.folders.push_back(folder);
  }
  if (parsed.folders.empty()) throw Failure("the package's Distribution names no component");
  return parsed;
}

}  // namespace zenta::host_installer
