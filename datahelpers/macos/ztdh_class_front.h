// ZTDHClass for Objective-C callers: the same helpers under their selectors. What each one gives is
// told in datahelpers/ztdh_class.h, whose class of this name in `zenta` does the work.
//
// nil in gives nil out, and nil is the only failure result. Results are autoreleased.
#pragma once

#import <Foundation/Foundation.h>

@interface ZTDHClass : NSObject

// 16 bytes. A file that cannot be read to its end is not caught, on purpose, and ends a caller: the
// handle's exception passes from the first, a C++ zenta::signing::FileReadError from the next
// three.
+ (NSData*)MD5DataWithFileHandle:(NSFileHandle*)handle;
+ (NSData*)ZTDHMethod004:(NSString*)path;
+ (NSData*)ZTDHMethod005:(NSURL*)url;
+ (NSString*)ZTDHMethod003:(NSString*)path;
// The whole file is read into memory first; nil if that fails.
+ (NSString*)calcMD5FromFile:(NSString*)path;

// `count` is in bytes, of which it says 32 bits. `length` is 16 for 32 digits; any other value, on
// purpose, gives 128.
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
