// The input sources of an input method, as the Info.plist of its bundle declares them.
#pragma once

#include <plist/plist.h>

#include <optional>
#include <string>
#include <vector>

namespace zenta::installer {

struct InputMode {
  std::string mode_id;
  std::string source_id;
};

struct InputMethodBundle {
  std::string identifier;        // CFBundleIdentifier
  std::string source_id;         // of the input method itself
  std::vector<InputMode> modes;  // the visible ones in their order, then the others as listed
};

// Reads the dictionary of an Info.plist, with the keys of Apple's Text Input Sources. Modes are the
// entries of ComponentInputModeDict's tsInputModeListKey. nullopt if there is no bundle identifier.
//
// Source IDs that are not given: the input method's is the bundle identifier. A mode's is its mode
// ID if that begins with the bundle identifier and "."; otherwise it is the bundle identifier, ".",
// and the part of the mode ID after "inputmethod." (all of it if it has no such part).
[[nodiscard]] std::optional<InputMethodBundle> ReadInputMethodBundle(plist_t info);

// Whether one of the identifier's components is "inputmethod". The system ignores bundles without
// it.
[[nodiscard]] bool NamesInputMethod(const std::string& identifier);

}  // namespace zenta::installer
