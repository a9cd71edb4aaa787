// The Security framework's RSA keys.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

using SecKeyRef = struct __SecKey*;
using SecKeyAlgorithm = CFStringRef;

extern "C" {
extern const CFStringRef kSecAttrKeyType, kSecAttrKeyTypeRSA;
extern const CFStringRef kSecAttrKeyClass, kSecAttrKeyClassPublic;
extern const SecKeyAlgorithm kSecKeyAlgorithmRSAEncryptionRaw API_AVAILABLE(macos(10.12));

SecKeyRef SecKeyCreateWithData(CFDataRef data, CFDictionaryRef attributes, CFErrorRef* error)
    API_AVAILABLE(macos(10.12));
CFDataRef SecKeyCreateEncryptedData(SecKeyRef key, SecKeyAlgorithm algorithm, CFDataRef plaintext,
                                    CFErrorRef* error) API_AVAILABLE(macos(10.12));
}
