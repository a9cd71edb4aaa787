// Brings the installed input method up: makes its bundle known to the system's input sources,
// enables it and selects its mode, so that the person can type with it at once.
#pragma once

#include <memory>
#include <string_view>

#include "installer/platform.h"

namespace zenta {

// Every step is logged, and so is the status of every service; none of them stops the sequence, and
// neither does a platform call that throws. Borrows the platform's parts. Main thread only.
class ZTActivateInputModel {
 public:
  ZTActivateInputModel(installer::InputSources& sources, installer::Log& log)
      : sources_(sources), log_(log) {}

  // The whole sequence: register, enable the bundle's own source, activate its mode.
  void zt_activateInputSource();

  // The bundle's own source, the one without a mode: the modes are entries of their own. Null if it
  // is not listed.
  [[nodiscard]] std::unique_ptr<installer::InputSource> findZentaInputSource();

  installer::InputSourceStatus registerInput();

  // Activates the first source in the system's order that has this mode ID; nothing if none has.
  void activateInputSourceByMode(std::string_view mode_id);

  // Disables, enables and selects the source. In this order on purpose: a freshly installed source
  // is picked up when it is enabled anew. REQUIRES: `source` is of this platform's list, or null.
  void activateInputSource(const installer::InputSource* source);

 private:
  using Service =
      installer::InputSourceStatus (installer::InputSources::*)(const installer::InputSource*);

  void LogLine(std::string_view text, std::string_view value = {});
  void Step(std::string_view before, const installer::InputSource* source, Service service,
            std::string_view after);

  installer::InputSources& sources_;
  installer::Log& log_;
};

}  // namespace zenta
