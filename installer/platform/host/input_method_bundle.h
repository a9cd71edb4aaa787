// What an input method's bundle says of its input sources, in Contents/Info.plist.
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

// Reads the dictionary of an Info.plist by the keys of Apple's Text Input Sources; modes are the
// entries of ComponentInputModeDict's tsInputModeListKey. Source IDs that are not stated: the
// bundle's is its identifier, a mode's is that followed by "." and the part of the mode ID behind
// "inputmethod." (all of it if it has no such part; a mode ID that begins with the bundle's
// identifier and "." is itself the source ID). nullopt without a bundle identifier.
[[nodiscard]] std::optional<InputMethodBundle> ReadInputMethodBundle(plist_t info);

// Whether one of the identifier's components is "inputmethod", without which the system passes a
// bundle over.
[[nodiscard]] bool NamesInputMethod(const std::string& identifier);

}  // namespace zenta::installer
