// The part of CoreFoundation that the Mac's backend calls. Objects of both kinds are the same, as
// on a Mac.
#pragma once

#include <cstdint>

using Boolean = unsigned char;
using UInt8 = std::uint8_t;
using OSStatus = std::int32_t;
using CFIndex = long;
using CFTypeRef = const void*;
using CFAllocatorRef = const struct ShimAllocator*;
using CFDataRef = const struct ShimData*;
using CFDictionaryRef = const struct ShimDictionary*;
using CFArrayRef = const struct ShimArray*;
using CFStringRef = const struct ShimString*;
using CFURLRef = const struct ShimUrl*;
using CFErrorRef = struct ShimError*;
using CFNotificationCenterRef = struct ShimNotificationCenter*;
using CFNotificationName = CFStringRef;
struct CFDictionaryKeyCallBacks {};
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
