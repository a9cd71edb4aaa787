#include "datahelpers/macos/ztdh_class_front.h"

#include "datahelpers/macos/foundation_file.h"
#include "datahelpers/macos/foundation_text.h"
#include "datahelpers/ztdh_class.h"

using Helpers = zenta::ZTDHClass;
using zenta::signing::BytesOfObject;
using zenta::signing::ObjectOfBytes;
using zenta::signing::StringOfText;
using zenta::signing::TextOfString;

@implementation ZTDHClass

+ (NSData*)MD5DataWithFileHandle:(NSFileHandle*)handle {
  if (handle == nil) return nil;
  zenta::signing::FoundationFile file(handle);
  return ObjectOfBytes(Helpers::MD5DataWithFileHandle(&file));
}

+ (NSData*)ZTDHMethod004:(NSString*)path {
  return ObjectOfBytes(Helpers::ZTDHMethod004(TextOfString(path)));
}

+ (NSData*)ZTDHMethod005:(NSURL*)url {
  // A file reference URL identifies the file by number, and only filePathURL gives its path. That
  // is nil for a URL of another scheme.
  return ObjectOfBytes(Helpers::ZTDHMethod005(TextOfString([[url filePathURL] absoluteString])));
}

+ (NSString*)ZTDHMethod003:(NSString*)path {
  return StringOfText(Helpers::ZTDHMethod003(TextOfString(path)));
}

+ (NSString*)calcMD5FromFile:(NSString*)path {
  return StringOfText(Helpers::calcMD5FromFile(TextOfString(path)));
}

+ (NSMutableString*)getMD5FromData:(const void*)bytes
                 ZTDHMethod001Arg1:(unsigned int)count
                 ZTDHMethod001Arg2:(int)length {
  NSString* digits = [self ZTDHMethod001:bytes ZTDHMethod001Arg1:count ZTDHMethod001Arg2:length];
  return [[digits mutableCopy] autorelease];
}

+ (NSString*)ZTDHMethod001:(const void*)bytes
         ZTDHMethod001Arg1:(unsigned int)count
         ZTDHMethod001Arg2:(int)length {
  return StringOfText(
      Helpers::ZTDHMethod001ZTDHMethod001Arg1ZTDHMethod001Arg2(bytes, count, length));
}

+ (NSString*)getMD5:(NSString*)text ZTDHMethod001Arg2:(int)length {
  return StringOfText(Helpers::getMD5ZTDHMethod001Arg2(TextOfString(text), length));
}

+ (NSString*)ZTDHMethod002:(NSString*)text ZTDHMethod001Arg2:(int)length {
  return StringOfText(Helpers::ZTDHMethod002ZTDHMethod001Arg2(TextOfString(text), length));
}

+ (NSString*)calcMD5:(NSString*)text {
  return StringOfText(Helpers::calcMD5(TextOfString(text)));
}

+ (NSString*)ZTDHMethod020:(NSString*)first ZTDHMethod020Arg1:(NSString*)second {
  return StringOfText(
      Helpers::ZTDHMethod020ZTDHMethod020Arg1(TextOfString(first), TextOfString(second)));
}

+ (NSString*)ZTDHMethod006:(NSData*)digest {
  return StringOfText(Helpers::ZTDHMethod006(BytesOfObject(digest)));
}

+ (NSString*)ZTDHMethod017:(NSString*)text {
  return StringOfText(Helpers::ZTDHMethod017(TextOfString(text)));
}

+ (NSData*)ZTDHMethod014:(NSData*)text {
  return ObjectOfBytes(Helpers::ZTDHMethod014(BytesOfObject(text)));
}

+ (NSData*)ZTDHMethod021:(NSData*)block {
  return ObjectOfBytes(Helpers::ZTDHMethod021(BytesOfObject(block)));
}

@end
