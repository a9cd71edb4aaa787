// The updater's platform on a Mac: its frameworks, one interface a source, without a rule of its
// own.
//
// Everything is called on the main thread, inside an autorelease scope. What the frameworks raise
// passes through, as calls of the platform may throw.
#pragma once

#include <memory>

#include "installer/platform.h"

namespace zenta::installer {

// The Darwin notification centre.
[[nodiscard]] std::unique_ptr<Notifications> MacNotifications();

// NSAppleScript.
[[nodiscard]] std::unique_ptr<ScriptRunner> MacScriptRunner();

// The standard user defaults: of the program that the bundle identifier in its Info.plist names.
[[nodiscard]] std::unique_ptr<UserDefaults> MacUserDefaults();

// The default file manager.
[[nodiscard]] std::unique_ptr<Files> MacFiles();

// Text Input Sources. Has to run in the session of the person at the screen.
[[nodiscard]] std::unique_ptr<InputSources> MacInputSources();

// NSLog.
[[nodiscard]] std::unique_ptr<Log> MacLog();

}  // namespace zenta::installer
