// GNUstep's Foundation, with replacements for the two script classes, which GNUstep does not
// implement, and for stringByStandardizingPath, so that its result lies in the folder of the test.
#pragma once

#include_next <Foundation/Foundation.h>

#include <CoreFoundation/CoreFoundation.h>

#define NSAppleEventDescriptor ShimAppleEventDescriptor
#define NSAppleScript ShimAppleScript

extern NSString* const NSAppleScriptErrorNumber;
extern NSString* const NSAppleScriptErrorMessage;

@interface NSAppleEventDescriptor : NSObject
- (NSString*)stringValue;
@end

@interface NSAppleScript : NSObject {
  NSString* source_;
}
- (id)initWithSource:(NSString*)source;
- (NSAppleEventDescriptor*)executeAndReturnError:(NSDictionary**)error;
@end

#define stringByStandardizingPath shimStringByStandardizingPath
@interface NSString (ShimPaths)
- (NSString*)stringByStandardizingPath;
@end
