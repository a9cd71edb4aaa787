// A Mac in a folder: the updater's platform on every other system.
//
// Each part keeps its state in files below the machine folder, at the paths where a Mac has them;
// docs/machine-folder.md lists them. Failures for which the interfaces have no result are thrown as
// std::system_error or another std::exception.
#pragma once

#include <memory>
#include <string>

#include "installer/platform.h"
#include "installer/platform/host/machine_folder.h"

namespace zenta::installer {

// Appends a line for each notification to /var/log/notifications.log.
[[nodiscard]] std::unique_ptr<Notifications> HostNotifications(const MachineFolder& machine);

// How commands get administrator rights.
struct Elevation {
  // A program that asks the user for the password and then runs the command given as its arguments,
  // as pkexec(1) does: its exit status is 126 if the user dismissed the prompt, 127 if the user is
  // not authorized or could not be asked. Empty: commands run with the rights of this process.
  std::string program;
};
// pkexec if the machine is the whole system and this process is not root. The files of a machine in
// a folder belong to the user, so nobody is asked there.
[[nodiscard]] Elevation ElevationFor(const MachineFolder& machine);

// Runs the one script form `do shell script "COMMAND" with administrator privileges`.
[[nodiscard]] std::unique_ptr<ScriptRunner> HostScriptRunner(const MachineFolder& machine,
                                                             const Elevation& elevation);

// Keeps them in ~/Library/Preferences/com.zenta.inputmethod.ZentaIM.update.plist.
[[nodiscard]] std::unique_ptr<UserDefaults> HostUserDefaults(const MachineFolder& machine);

[[nodiscard]] std::unique_ptr<Files> HostFiles(const MachineFolder& machine);

// Keeps their state in ~/Library/Preferences/com.apple.HIToolbox.plist, and reads the Info.plist of
// each registered bundle.
[[nodiscard]] std::unique_ptr<InputSources> HostInputSources(const MachineFolder& machine);

// Writes lines to standard error: "2026-01-02 03:04:05.678 zenta-update[PID:THREAD] TEXT".
[[nodiscard]] std::unique_ptr<Log> HostLog();

// All six parts.
[[nodiscard]] Platform HostPlatform(const MachineFolder& machine);

}  // namespace zenta::installer
