// The update flow, which the program runs once when it is started.
#pragma once

#include "installer/platform.h"

namespace zenta::installer {

// Posts the run notification. Then, if a downloaded package and its signed digest file exist, are
// trusted and match, installs the package with administrator rights, activates the input source or
// counts the failure, and removes the package. The effects are the installed input method, the
// failure counter in the user defaults, the notifications and the log; there is no result. Nothing
// is changed before the package is verified, so a fault until then ends the run quietly.
//
// If several updaters run at once, one does all this while the others wait. A package whose
// installation failed is removed only after the failure is counted. One that was tried and cannot
// be removed is noted in the user defaults and not tried again; each run that finds it counts a
// failure, unless it can remove it.
void RunUpdate(Platform& platform) noexcept;

}  // namespace zenta::installer
