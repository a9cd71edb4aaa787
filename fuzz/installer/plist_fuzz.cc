// Parses any bytes as a property list. Invariant: the result is a dictionary and has no more nodes
// than the input has bytes, so that no short list unfolds into a huge one.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/require.h"
#include "installer/platform/host/plist_file.h"

namespace zenta::installer {
namespace {

using signing::Bytes;

std::size_t Nodes(plist_t node) {
  std::size_t nodes = 1;
  if (plist_get_node_type(node) == PLIST_ARRAY) {
    plist_array_iter position = nullptr;
    plist_array_new_iter(node, &position);
    for (plist_t item = nullptr; plist_array_next_item(node, position, &item), item != nullptr;) {
      nodes += Nodes(item);
    }
    std::free(position);
  } else if (plist_get_node_type(node) == PLIST_DICT) {
    plist_dict_iter position = nullptr;
    plist_dict_new_iter(node, &position);
    for (plist_t item = nullptr;
         plist_dict_next_item(node, position, nullptr, &item), item != nullptr;) {
      nodes += 1 + Nodes(item);  // and its key
    }
    std::free(position);
  }
  return nodes;
}

}  // namespace
}  // namespace zenta::installer

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zenta::installer;
  const Plist root = ParsePlist(Bytes(data, data + size));
  if (root == nullptr) return 0;
  zenta::fuzz::Require(plist_get_node_type(root.get()) == PLIST_DICT);
  zenta::fuzz::Require(Nodes(root.get()) <= size);
  return 0;
}
