// GNUstep's Foundation, with the two script classes that it only has in name, and with paths whose
// standard form may stand in a folder.
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
