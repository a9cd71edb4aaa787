// Implements Apple's functions with Foundation, as their documentation describes them.
#import <Carbon/Carbon.h>
#import <Foundation/Foundation.h>
#import <Security/Security.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <cstdio>

#include "tests/apple_shims/shim_mac.h"

namespace {

NSString* StringOf(const std::optional<std::string>& text) {
  return text ? [NSString stringWithUTF8String:text->c_str()] : nil;
}

void Record(NSString* format, ...) {
  NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
  va_list arguments;
  va_start(arguments, format);
  NSString* line = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
  va_end(arguments);
  std::fprintf(stderr, "%s\n", [line UTF8String]);
  [scope drain];
}

}  // namespace

ShimMac& TheShimMac() {
  static ShimMac mac;
  return mac;
}

// The Objective-C runtime keeps some memory until the program ends. That is no leak.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }

// --- CoreFoundation

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {};

CFTypeRef CFRetain(CFTypeRef object) { return [(id)object retain]; }
void CFRelease(CFTypeRef object) { [(id)object release]; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  return (CFDataRef)[[NSData alloc] initWithBytes:bytes length:static_cast<NSUInteger>(length)];
}
CFIndex CFDataGetLength(CFDataRef data) { return static_cast<CFIndex>([(NSData*)data length]); }
const UInt8* CFDataGetBytePtr(CFDataRef data) {
  return static_cast<const UInt8*>([(NSData*)data bytes]);
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks*,
                                   const CFDictionaryValueCallBacks*) {
  return (CFDictionaryRef)[[NSDictionary alloc] initWithObjects:(const id*)(void*)values
                                                        forKeys:(const id*)(void*)keys
                                                          count:static_cast<NSUInteger>(count)];
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* buffer,
                                                 CFIndex length, Boolean is_directory) {
  if (!TheShimMac().makes_urls) return nullptr;
  NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
  NSString* path = [[[NSString alloc] initWithBytes:buffer
                                             length:static_cast<NSUInteger>(length)
                                           encoding:NSUTF8StringEncoding] autorelease];
  NSURL* url = [[NSURL alloc] initFileURLWithPath:path isDirectory:is_directory != 0];
  [scope drain];
  return (CFURLRef)url;
}

CFNotificationCenterRef CFNotificationCenterGetDarwinNotifyCenter() {
  return (CFNotificationCenterRef) @"Darwin";
}

void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFNotificationName name,
                                          const void* object, CFDictionaryRef user_info,
                                          Boolean deliver_immediately) {
  Record(@"post %@ to %@, object %@, user info %@, immediately %d", name, center, object, user_info,
         deliver_immediately);
}

// --- Foundation

@implementation NSString (ShimPaths)
- (NSString*)stringByStandardizingPath {
#undef stringByStandardizingPath
  return [StringOf(TheShimMac().folder) stringByAppendingString:[self stringByStandardizingPath]];
}
@end

NSString* const NSAppleScriptErrorNumber = @"NSAppleScriptErrorNumber";
NSString* const NSAppleScriptErrorMessage = @"NSAppleScriptErrorMessage";

@implementation NSAppleEventDescriptor
- (NSString*)stringValue {
  return StringOf(TheShimMac().script.result);
}
@end

@implementation NSAppleScript
- (id)initWithSource:(NSString*)source {
  self = [super init];
  source_ = [source copy];
  return self;
}
- (void)dealloc {
  [source_ release];
  [super dealloc];
}
- (NSAppleEventDescriptor*)executeAndReturnError:(NSDictionary**)error {
  const ShimMac& mac = TheShimMac();
  Record(@"run %@", source_);
  if (mac.script_raises) [NSException raise:NSGenericException format:@"a script that raises"];
  if (mac.script.succeeded) return [[[NSAppleEventDescriptor alloc] init] autorelease];
  if (!mac.gives_error_dictionary) return nil;
  NSMutableDictionary* why = [NSMutableDictionary dictionary];
  const auto& [succeeded, result, number, message] = mac.script;
  if (number) [why setObject:[NSNumber numberWithLong:*number] forKey:NSAppleScriptErrorNumber];
  if (message) [why setObject:StringOf(message) forKey:NSAppleScriptErrorMessage];
  *error = why;
  return nil;
}
@end

// --- Text Input Sources

const CFStringRef kTISPropertyInputSourceID = (CFStringRef) @"TISPropertyInputSourceID";
const CFStringRef kTISPropertyInputModeID = (CFStringRef) @"TISPropertyInputModeID";

// Freed with its list unless somebody retains it.
@interface ShimInputSource : NSObject {
 @public
  NSUInteger index_;
  NSMutableDictionary* properties_;
}
@end

@implementation ShimInputSource
- (id)init {
  self = [super init];
  properties_ = [[NSMutableDictionary alloc] init];
  return self;
}
- (void)dealloc {
  [properties_ release];
  [super dealloc];
}
- (NSString*)description {
  return [NSString stringWithFormat:@"#%lu", (unsigned long)index_];
}
@end

CFArrayRef TISCreateInputSourceList(CFDictionaryRef properties, Boolean include_all_installed) {
  const ShimMac& mac = TheShimMac();
  Record(@"list %@, all %d", properties, include_all_installed);
  if (!mac.has_source_list) return nullptr;
  NSAutoreleasePool* scope = [[NSAutoreleasePool alloc] init];
  NSMutableArray* list = [[NSMutableArray alloc] init];
  for (const ShimMac::Source& each : mac.sources) {
    ShimInputSource* source = [[[ShimInputSource alloc] init] autorelease];
    source->index_ = [list count];
    if (each.id) {
      [source->properties_ setObject:StringOf(each.id) forKey:(NSString*)kTISPropertyInputSourceID];
    }
    if (each.mode) {
      [source->properties_ setObject:StringOf(each.mode) forKey:(NSString*)kTISPropertyInputModeID];
    }
    [list addObject:source];
  }
  [scope drain];
  return (CFArrayRef)list;
}

void* TISGetInputSourceProperty(TISInputSourceRef source, CFStringRef key) {
  return [((ShimInputSource*)source)->properties_ objectForKey:(NSString*)key];
}

OSStatus TISRegisterInputSource(CFURLRef location) {
  Record(@"register %@", [(NSURL*)location absoluteString]);
  return TheShimMac().status;
}

static OSStatus Serve(NSString* what, TISInputSourceRef source) {
  Record(@"%@ %@", what, (id)source);
  return source != nullptr ? TheShimMac().status : -50;
}
OSStatus TISEnableInputSource(TISInputSourceRef source) { return Serve(@"enable", source); }
OSStatus TISDisableInputSource(TISInputSourceRef source) { return Serve(@"disable", source); }
OSStatus TISSelectInputSource(TISInputSourceRef source) { return Serve(@"select", source); }

// --- Security

const CFStringRef kSecAttrKeyType = (CFStringRef) @"type";
const CFStringRef kSecAttrKeyTypeRSA = (CFStringRef) @"42";
const CFStringRef kSecAttrKeyClass = (CFStringRef) @"kcls";
const CFStringRef kSecAttrKeyClassPublic = (CFStringRef) @"0";
const SecKeyAlgorithm kSecKeyAlgorithmRSAEncryptionRaw = (CFStringRef) @"algid:encrypt:RSA:raw";

@interface ShimKey : NSObject {
 @public
  EVP_PKEY* key_;
}
@end

@implementation ShimKey
- (void)dealloc {
  EVP_PKEY_free(key_);
  [super dealloc];
}
@end

SecKeyRef SecKeyCreateWithData(CFDataRef data, CFDictionaryRef attributes, CFErrorRef*) {
  NSDictionary* asked = (NSDictionary*)attributes;
  const unsigned char* der = CFDataGetBytePtr(data);
  const unsigned char* end = der + CFDataGetLength(data);
  if (!TheShimMac().takes_keys ||
      [asked objectForKey:(id)kSecAttrKeyType] != (id)kSecAttrKeyTypeRSA ||
      [asked objectForKey:(id)kSecAttrKeyClass] != (id)kSecAttrKeyClassPublic) {
    return nullptr;
  }
  ShimKey* key = [[ShimKey alloc] init];
  key->key_ = d2i_PublicKey(EVP_PKEY_RSA, nullptr, &der, end - der);
  // Accepts only the unique DER encoding: OpenSSL's parser tolerates other signs and leading zeros.
  unsigned char* encoded = nullptr;
  const int size = i2d_PublicKey(key->key_, &encoded);
  const bool same =
      size == CFDataGetLength(data) && std::equal(encoded, encoded + size, end - size);
  OPENSSL_free(encoded);
  if (same) return (SecKeyRef)key;
  [key release];
  return nullptr;
}

CFDataRef SecKeyCreateEncryptedData(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef plaintext,
                                    CFErrorRef*) {
  if (!TheShimMac().encrypts || algorithm != kSecKeyAlgorithmRSAEncryptionRaw) return nullptr;
  EVP_PKEY_CTX* context = EVP_PKEY_CTX_new(((ShimKey*)key)->key_, nullptr);
  unsigned char raised[1024];
  std::size_t size = sizeof raised;
  const bool done = EVP_PKEY_encrypt_init(context) == 1 &&
                    EVP_PKEY_CTX_set_rsa_padding(context, RSA_NO_PADDING) == 1 &&
                    EVP_PKEY_encrypt(context, raised, &size, CFDataGetBytePtr(plaintext),
                                     static_cast<std::size_t>(CFDataGetLength(plaintext))) == 1;
  EVP_PKEY_CTX_free(context);
  ERR_clear_error();
  return done ? CFDataCreate(nullptr, raised, static_cast<CFIndex>(size)) : nullptr;
}
