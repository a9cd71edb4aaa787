#include "installer/platform/host/input_method_bundle.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "installer/platform/host/plist_file.h"

namespace zenta::installer {
namespace {

constexpr std::string_view kComponent = "inputmethod.";

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

// "inputmethod" counts only as a whole component: at the start of the mode ID, or after a dot.
std::string DefaultSourceId(const std::string& bundle, const std::string& mode) {
  if (mode.starts_with(bundle + ".")) return mode;
  const std::size_t component = mode.find(kComponent);
  const bool has_it = component == 0 || (component != mode.npos && mode[component - 1] == '.');
  return bundle + "." + (has_it ? mode.substr(component + kComponent.size()) : mode);
}

// The keys of a dictionary in the order of the file.
std::vector<std::string> KeysOf(plist_t dictionary) {
  std::vector<std::string> keys;
  if (dictionary == nullptr || plist_get_node_type(dictionary) != PLIST_DICT) return keys;
  // The iterator and each key that it gives are the caller's to free.
  plist_dict_iter position = nullptr;
  plist_dict_new_iter(dictionary, &position);
  const std::unique_ptr<void, Free> owner(position);
  for (;;) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(dictionary, position, &key, &value);
    const std::unique_ptr<char, Free> text(key);
    if (key == nullptr) return keys;
    keys.emplace_back(key);
  }
}

// The mode IDs: first the visible ones in their order, then the others.
std::vector<std::string> OrderedModes(plist_t modes, plist_t visible) {
  std::vector<std::string> ordered;
  const auto add = [&](const std::string& mode) {
    if (std::find(ordered.begin(), ordered.end(), mode) == ordered.end()) ordered.push_back(mode);
  };
  for (std::uint32_t i = 0; i < plist_array_get_size(visible); ++i) {
    const std::string mode = StringOf(plist_array_get_item(visible, i)).value_or("");
    if (plist_dict_get_item(modes, mode.c_str()) != nullptr) add(mode);
  }
  for (const std::string& mode : KeysOf(modes)) add(mode);
  return ordered;
}

}  // namespace

std::optional<InputMethodBundle> ReadInputMethodBundle(plist_t info) {
  InputMethodBundle bundle;
  bundle.identifier = StringUnder(info, "CFBundleIdentifier").value_or("");
  if (bundle.identifier.empty()) return std::nullopt;
  bundle.source_id = StringUnder(info, "TISInputSourceID").value_or(bundle.identifier);
  plist_t component = plist_dict_get_item(info, "ComponentInputModeDict");
  plist_t modes = plist_dict_get_item(component, "tsInputModeListKey");
  plist_t visible = plist_dict_get_item(component, "tsVisibleInputModeOrderedArrayKey");
  for (const std::string& mode : OrderedModes(modes, visible)) {
    plist_t properties = plist_dict_get_item(modes, mode.c_str());
    bundle.modes.push_back({mode, StringUnder(properties, "TISInputSourceID")
                                      .value_or(DefaultSourceId(bundle.identifier, mode))});
  }
  return bundle;
}

bool NamesInputMethod(const std::string& identifier) {
  return ("." + identifier + ".").find(".inputmethod.") != std::string::npos;
}

}  // namespace zenta::installer
