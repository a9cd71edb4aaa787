// A Mac in a folder: the updater's platform on every system that is not a Mac.
//
// Each part keeps what it stands for in files below the machine folder, at the places where a Mac
// keeps them; docs/machine-folder.md shows them all. Failures that the interfaces have no result
// for are thrown as std::system_error or another std::exception.
#pragma once

#include <memory>
#include <string>

#include "installer/platform.h"
#include "installer/platform/host/machine_folder.h"

namespace zenta::installer {

// A notification is a line in /var/log/notifications.log.
[[nodiscard]] std::unique_ptr<Notifications> HostNotifications(const MachineFolder& machine);

// How commands come by administrator rights.
struct Elevation {
  // Asks the person for the password, then runs the program given as its arguments, as pkexec does:
  // status 126 when the person dismissed the question, 127 when the person may not or it could not
  // ask. Empty: commands run with the rights of this process.
  std::string program;
};
// pkexec if the machine is the whole system and this process is not root. The files of a machine in
// a folder belong to the user, so nobody is asked there.
[[nodiscard]] Elevation ElevationFor(const MachineFolder& machine);

// Runs the one script form `do shell script "COMMAND" with administrator privileges`.
[[nodiscard]] std::unique_ptr<ScriptRunner> HostScriptRunner(const MachineFolder& machine,
                                                             const Elevation& elevation);

// ~/Library/Preferences/com.zenta.inputmethod.ZentaIM.update.plist.
[[nodiscard]] std::unique_ptr<UserDefaults> HostUserDefaults(const MachineFolder& machine);

[[nodiscard]] std::unique_ptr<Files> HostFiles(const MachineFolder& machine);

// ~/Library/Preferences/com.apple.HIToolbox.plist, and the Info.plist of each registered bundle.
[[nodiscard]] std::unique_ptr<InputSources> HostInputSources(const MachineFolder& machine);

// Lines on standard error: "2026-01-02 03:04:05.678 zenta-update[PID:THREAD] TEXT".
[[nodiscard]] std::unique_ptr<Log> HostLog();

// All of them.
[[nodiscard]] Platform HostPlatform(const MachineFolder& machine);

}  // namespace zenta::installer
