// The Security framework's RSA keys.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

using SecKeyRef = struct ShimKeyRef*;
using SecKeyAlgorithm = CFStringRef;

extern "C" {
extern const CFStringRef kSecAttrKeyType, kSecAttrKeyTypeRSA;
extern const CFStringRef kSecAttrKeyClass, kSecAttrKeyClassPublic;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSAEncryptionRaw;

SecKeyRef SecKeyCreateWithData(CFDataRef data, CFDictionaryRef attributes, CFErrorRef* error);
CFDataRef SecKeyCreateEncryptedData(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef plaintext,
                                    CFErrorRef* error);
}
