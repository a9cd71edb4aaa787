#import <CoreFoundation/CoreFoundation.h>
#import <Foundation/Foundation.h>

#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

using signing::StringOfText;

class DarwinNotifications final : public Notifications {
 public:
  void Post(std::string_view name) override {
    CFNotificationCenterPostNotification(CFNotificationCenterGetDarwinNotifyCenter(),
                                         (CFStringRef)StringOfText(name), nullptr, nullptr, true);
  }
};

}  // namespace

std::unique_ptr<Notifications> MacNotifications() {
  return std::make_unique<DarwinNotifications>();
}

}  // namespace zenta::installer
