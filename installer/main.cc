// zenta-update: one run of the update flow. Takes no arguments and always ends with status 0;
// whoever starts it learns the outcome from the notifications.
#include <signal.h>

#include "installer/attempt.h"
#include "installer/platform.h"
#include "installer/update.h"

namespace {

// A log that nobody reads and a file that must not grow are errors of the write that meets them, not
// the end of the program between an installation and its activation. The signals are caught instead of
// ignored, because exec gives a caught signal's default back to whatever program the system starts.
void KeepWriteErrorsFromKilling() {
  struct sigaction caught {};
  caught.sa_handler = [](int) {};
  caught.sa_flags = SA_RESTART;
  for (const int number : {SIGPIPE, SIGXFSZ}) sigaction(number, &caught, nullptr);
}

// A parent that ignores SIGCHLD hands that down, and then no child's exit status is kept.
void KeepExitStatuses() {
  struct sigaction usual {};
  usual.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &usual, nullptr);
}

}  // namespace

int main() {
  KeepWriteErrorsFromKilling();
  KeepExitStatuses();
  zenta::installer::Attempt(
      [] { zenta::installer::WithSystemPlatform(zenta::installer::RunUpdate); });
  return 0;
}
