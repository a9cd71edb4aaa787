// The updater's platform on a Mac: thin wrappers of its frameworks, one source file for each
// interface.
//
// Everything is called on the main thread, inside an autorelease pool. Exceptions of the frameworks
// pass through, because calls of the platform may throw.
#pragma once

#include <memory>

#include "installer/platform.h"

namespace zenta::installer {

// The Darwin notification centre.
[[nodiscard]] std::unique_ptr<Notifications> MacNotifications();

// NSAppleScript.
[[nodiscard]] std::unique_ptr<ScriptRunner> MacScriptRunner();

// The standard user defaults, in the domain of the bundle identifier in the program's Info.plist.
[[nodiscard]] std::unique_ptr<UserDefaults> MacUserDefaults();

// The default file manager.
[[nodiscard]] std::unique_ptr<Files> MacFiles();

// Text Input Sources. Works only in the session of the user at the screen.
[[nodiscard]] std::unique_ptr<InputSources> MacInputSources();

// NSLog.
[[nodiscard]] std::unique_ptr<Log> MacLog();

}  // namespace zenta::installer
