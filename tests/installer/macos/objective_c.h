// Shared by the tests of the Objective-C classes, which call them only through the runtime, by
// name.
#pragma once

#import <Foundation/Foundation.h>
#import <Foundation/NSDebug.h>

#include <map>

#include "tests/installer/macos/mac_test.h"

namespace zenta::installer {

// Sends the message `name` to `target` through the runtime.
template <class Result, class... Arguments>
Result Send(id target, const char* name, Arguments... arguments) {
  const SEL selector = NSSelectorFromString([NSString stringWithUTF8String:name]);
  EXPECT_TRUE([target respondsToSelector:selector]) << name;
  const auto method = reinterpret_cast<void (*)()>([target methodForSelector:selector]);
  return reinterpret_cast<Result (*)(id, SEL, Arguments...)>(method)(target, selector,
                                                                     arguments...);
}

class ObjectiveCTest : public MacTest {
 protected:
  ~ObjectiveCTest() override { [scope_ drain]; }
  NSAutoreleasePool* const scope_ = [[NSAutoreleasePool alloc] init];
};

// How many objects of each class there are.
inline std::map<std::string, int> LiveObjects() {
  std::map<std::string, int> objects;
  Class* const classes = GSDebugAllocationClassList();
  for (Class* each = classes; *each != nullptr; ++each) {
    objects[class_getName(*each)] = GSDebugAllocationCount(*each);
  }
  NSZoneFree(NSDefaultMallocZone(), classes);
  return objects;
}

}  // namespace zenta::installer
