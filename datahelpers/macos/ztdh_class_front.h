// ZTDHClass for Objective-C callers. Each method forwards to the member of zenta::ZTDHClass with
// the same name; datahelpers/ztdh_class.h describes them.
//
// A nil argument gives nil, and nil is the only failure result. Results are autoreleased.
#pragma once

#import <Foundation/Foundation.h>

@interface ZTDHClass : NSObject

// These return 16 bytes, ZTDHMethod003: their digits. If a file cannot be read to its end, the
// exception is not caught, on purpose, and ends a caller that does not catch it either. The first
// method raises the handle's exception, the other three throw a C++ zenta::signing::FileReadError.
+ (NSData*)MD5DataWithFileHandle:(NSFileHandle*)handle;
+ (NSData*)ZTDHMethod004:(NSString*)path;
+ (NSData*)ZTDHMethod005:(NSURL*)url;
+ (NSString*)ZTDHMethod003:(NSString*)path;
// Reads the whole file into memory first; nil if that fails.
+ (NSString*)calcMD5FromFile:(NSString*)path;

// `count` is in bytes and has 32 bits. If `length` is 16 the result has 32 digits; any other value,
// on purpose, gives 128.
+ (NSMutableString*)getMD5FromData:(const void*)bytes
                 ZTDHMethod001Arg1:(unsigned int)count
                 ZTDHMethod001Arg2:(int)length;
+ (NSString*)ZTDHMethod001:(const void*)bytes
         ZTDHMethod001Arg1:(unsigned int)count
         ZTDHMethod001Arg2:(int)length;
+ (NSString*)getMD5:(NSString*)text ZTDHMethod001Arg2:(int)length;
+ (NSString*)ZTDHMethod002:(NSString*)text ZTDHMethod001Arg2:(int)length;
+ (NSString*)calcMD5:(NSString*)text;
+ (NSString*)ZTDHMethod020:(NSString*)first ZTDHMethod020Arg1:(NSString*)second;

+ (NSString*)ZTDHMethod006:(NSData*)digest;
+ (NSString*)ZTDHMethod017:(NSString*)text;

+ (NSData*)ZTDHMethod014:(NSData*)text;
+ (NSData*)ZTDHMethod021:(NSData*)block;

@end
