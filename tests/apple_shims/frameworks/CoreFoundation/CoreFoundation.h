// The part of CoreFoundation that the Mac's backend calls, as Apple documents it. Used by the tests
// over GNUstep and by the compile check in tools/mac/. CoreFoundation's and Foundation's objects
// are the same, as on a Mac.
#pragma once

#include <cstdint>

#if __has_include(<os/availability.h>)
#include <os/availability.h>
#else
#define API_AVAILABLE(...)
#endif

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using OSStatus = std::int32_t;
using CFIndex = long;
using CFTypeRef = const void*;
using CFAllocatorRef = const struct __CFAllocator*;
using CFDataRef = const struct __CFData*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFArrayRef = const struct __CFArray*;
using CFStringRef = const struct __CFString*;
using CFURLRef = const struct __CFURL*;
using CFErrorRef = struct __CFError*;
using CFNotificationCenterRef = struct __CFNotificationCenter*;
using CFNotificationName = CFStringRef;
struct CFDictionaryKeyCallBacks {};  // passed on only by address
struct CFDictionaryValueCallBacks {};

extern "C" {
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length);
CFIndex CFDataGetLength(CFDataRef data);
const UInt8* CFDataGetBytePtr(CFDataRef data);
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* key_callbacks,
                                   const CFDictionaryValueCallBacks* value_callbacks);
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory);
CFNotificationCenterRef CFNotificationCenterGetDarwinNotifyCenter();
void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFNotificationName name,
                                          const void* object, CFDictionaryRef user_info,
                                          Boolean deliver_immediately);
}
