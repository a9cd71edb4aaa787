// The part of Foundation that the Mac's backend calls, declared as Apple documents it. It stands on
// the Objective-C runtime's own headers.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObject.h>
#include <os/availability.h>

#pragma clang assume_nonnull begin

@class NSAppleEventDescriptor, NSArray<Element>, NSData, NSError, NSMutableString;
@class NSDictionary<Key, Value>;

using NSStringEncoding = NSUInteger;
using NSFileAttributeKey = NSString*;
using NSFileAttributeType = NSString*;
enum : NSStringEncoding { NSUTF8StringEncoding = 4 };

extern "C" {
extern const NSFileAttributeType NSFileTypeDirectory;
extern NSString* const NSAppleScriptErrorMessage API_AVAILABLE(macos(10.2));
extern NSString* const NSAppleScriptErrorNumber API_AVAILABLE(macos(10.2));

void NSLog(NSString* format, ...) __attribute__((format(__NSString__, 1, 2)));
}

@interface NSAutoreleasePool : NSObject
- (void)drain;
@end

@interface NSString : NSObject
+ (instancetype)stringWithFormat:(NSString*)format, ... __attribute__((format(__NSString__, 1, 2)));
- (nullable instancetype)initWithBytes:(const void*)bytes
                                length:(NSUInteger)length
                              encoding:(NSStringEncoding)encoding;
- (nullable NSData*)dataUsingEncoding:(NSStringEncoding)encoding;
- (BOOL)isEqualToString:(NSString*)other;
@property(readonly, copy) NSString* stringByResolvingSymlinksInPath;
@property(readonly, copy) NSString* stringByStandardizingPath;
@end

@interface NSMutableString : NSString
@end

@interface NSData : NSObject
@property(readonly) const void* bytes __attribute__((objc_returns_inner_pointer));
@property(readonly) NSUInteger length;
+ (instancetype)dataWithBytes:(nullable const void*)bytes length:(NSUInteger)length;
- (void)getBytes:(void*)buffer length:(NSUInteger)length;
@end

@interface NSArray<Element> : NSObject
@property(readonly) NSUInteger count;
- (Element)objectAtIndex:(NSUInteger)index;
@end

@interface NSDictionary<Key, Value> : NSObject
- (nullable Value)objectForKey:(Key)key;
@end

@interface NSDictionary <Key, Value>(NSFileAttributes)
- (nullable NSString*)fileType;
@end

@interface NSNumber : NSObject
@property(readonly) NSInteger integerValue API_AVAILABLE(macos(10.5));
@end

@interface NSURL : NSObject
@property(nullable, readonly, copy) NSString* absoluteString;
@property(nullable, readonly, copy) NSURL* filePathURL;
@end

@interface NSFileHandle : NSObject
- (NSData*)readDataOfLength:(NSUInteger)length;
@end

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
- (nullable NSDictionary<NSFileAttributeKey, id>*)attributesOfItemAtPath:(NSString*)path
                                                                   error:(NSError**)error
    API_AVAILABLE(macos(10.5));
- (BOOL)fileExistsAtPath:(NSString*)path;
- (BOOL)removeItemAtPath:(NSString*)path error:(NSError**)error API_AVAILABLE(macos(10.5));
@end

@interface NSUserDefaults : NSObject
@property(class, readonly, strong) NSUserDefaults* standardUserDefaults;
- (nullable id)objectForKey:(NSString*)name;
- (NSInteger)integerForKey:(NSString*)name;
- (void)setInteger:(NSInteger)value forKey:(NSString*)name;
- (void)removeObjectForKey:(NSString*)name;
- (BOOL)synchronize;
@end

@interface NSAppleEventDescriptor : NSObject
@property(nullable, readonly, copy) NSString* stringValue;
@end

@interface NSAppleScript : NSObject
- (nullable instancetype)initWithSource:(NSString*)source;
- (NSAppleEventDescriptor*)executeAndReturnError:
    (NSDictionary<NSString*, id>* _Nullable* _Nullable)error;
@end

#pragma clang assume_nonnull end
