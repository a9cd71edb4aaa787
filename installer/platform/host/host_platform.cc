#include "installer/platform/host/host_platform.h"

namespace zenta::installer {

Platform HostPlatform(const MachineFolder& machine) {
  Platform platform;
  platform.notifications = HostNotifications(machine);
  platform.scripts = HostScriptRunner(machine, ElevationFor(machine));
  platform.defaults = HostUserDefaults(machine);
  platform.files = HostFiles(machine);
  platform.input_sources = HostInputSources(machine);
  platform.log = HostLog();
  return platform;
}

void WithSystemPlatform(void (*body)(Platform&) noexcept) {
  Platform platform = HostPlatform(MachineFolder::FromEnvironment());
  body(platform);
}

}  // namespace zenta::installer
