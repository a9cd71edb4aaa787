// The update flow: what the program does, once, when it is started.
#pragma once

#include "installer/platform.h"

namespace zenta::installer {

// Announces the run; if a downloaded package and its signed digest are there, are trusted and agree,
// installs the package with administrator rights, brings the input source up or counts the failure,
// and removes the package. Has no result: what it leaves behind is the installed input method, the
// failure counter in the user's defaults, the notifications and the log. Before the package is
// found to be signed nothing is changed, so whatever goes wrong until then is a quiet stop.
//
// Of several updaters at once one does all this, while the others wait. A package that failed is
// removed only when the failure is counted. One that was tried and cannot be removed is noted in the
// defaults and not tried again; each run that finds it is a failure.
void RunUpdate(Platform& platform) noexcept;

}  // namespace zenta::installer
