// zenta-update: one run of the update flow. Takes no arguments and always ends with status 0;
// whoever starts it learns the outcome from the notifications.
#include "installer/attempt.h"
#include "installer/platform.h"
#include "installer/update.h"

int main() {
  zenta::installer::Attempt(
      [] { zenta::installer::WithSystemPlatform(zenta::installer::RunUpdate); });
  return 0;
}
