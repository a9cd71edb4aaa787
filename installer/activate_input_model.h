// Activates the installed input method: registers its bundle with the system's input sources,
// enables it and selects its mode, so that the user can type with it at once.
#pragma once

#include <memory>
#include <string_view>

#include "installer/platform.h"

namespace zenta {

// Every step and the status of every service are logged. No status stops the sequence, nor does a
// platform call that throws. Borrows the platform's parts. Main thread only.
class ZTActivateInputModel {
 public:
  ZTActivateInputModel(installer::InputSources& sources, installer::Log& log)
      : sources_(sources), log_(log) {}

  // The whole sequence: registers the bundle, enables its own source, activates its mode.
  void zt_activateInputSource();

  // The bundle's own source, which has no mode ID; its modes are separate entries of the list. Null
  // if it is not listed.
  [[nodiscard]] std::unique_ptr<installer::InputSource> findZentaInputSource();

  // Registers the bundle at its fixed path. Returns the service's status.
  installer::InputSourceStatus registerInput();

  // Activates the first source in the system's order that has this mode ID. Does nothing if none
  // has.
  void activateInputSourceByMode(std::string_view mode_id);

  // Disables, enables and selects the source. In this order on purpose: the system notices a newly
  // installed source when it is enabled again. REQUIRES: `source` is of this platform's list, or
  // null.
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
