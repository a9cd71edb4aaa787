#import <Foundation/Foundation.h>

#include "installer/platform/macos/macos_platform.h"

namespace zenta::installer {
namespace {

Platform MacPlatform() {
  return {MacNotifications(), MacScriptRunner(), MacUserDefaults(),
          MacFiles(),         MacInputSources(), MacLog()};
}

}  // namespace

void WithSystemPlatform(void (*body)(Platform&) noexcept) {
  NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
  {
    Platform platform = MacPlatform();
    body(platform);
  }  // the parts are destroyed before the pool is drained
  [scope drain];
}

}  // namespace zenta::installer
