#include "tools/packaging/bundle_info.h"

#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "tools/common/failure.h"
#include "tools/common/read_file.h"

namespace zenta {
namespace {

constexpr std::size_t kMaxInfoBytes = 1 << 20;

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistFree>;

std::string TextUnder(plist_t dictionary, const char* key) {
  const plist_t node = plist_dict_get_item(dictionary, key);
  if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) return {};
  char* text = nullptr;
  plist_get_string_val(node, &text);
  const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
  return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

BundleInfo ReadBundleInfo(const std::filesystem::path& bundle) {
  if (!std::filesystem::is_directory(bundle)) {
    throw Failure(bundle.string() + " is no bundle: not a folder");
  }
  const std::filesystem::path path = bundle / "Contents" / "Info.plist";
  const std::string text = ReadWholeFile(path, kMaxInfoBytes);
  plist_t root = nullptr;
  plist_from_memory(text.data(), static_cast<std::uint32_t>(text.size()), &root);
  const Plist owner(root);
  if (root == nullptr || plist_get_node_type(root) != PLIST_DICT) {
    throw Failure(path.string() + " is no property list with a dictionary at its root");
  }
  return {TextUnder(root, "CFBundleIdentifier"), TextUnder(root, "CFBundleShortVersionString"),
          TextUnder(root, "CFBundleVersion")};
}

}  // namespace zenta
