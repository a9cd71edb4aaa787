// zenta-update: one run of the update flow. Takes no arguments and always ends with status 0; other
// programs learn the outcome from the notifications.
#include <signal.h>

#include "installer/attempt.h"
#include "installer/platform.h"
#include "installer/update.h"

namespace {

// A closed log pipe and a file size limit have to be errors of write(2): their signals would end
// the program between an installation and its activation. The signals are caught and not ignored,
// because exec resets a caught signal to its default action, but keeps an ignored one ignored in
// the installer.
void KeepWriteErrorsFromKilling() {
  struct sigaction caught {};
  caught.sa_handler = [](int) {};
  caught.sa_flags = SA_RESTART;
  for (const int number : {SIGPIPE, SIGXFSZ}) sigaction(number, &caught, nullptr);
}

// A parent that ignores SIGCHLD passes that on, and the system then discards the exit statuses of
// this program's children.
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
